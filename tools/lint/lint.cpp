#include "tools/lint/lint.h"

#include "kcore/ufs/file_system.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/lint/lint_checks.h"

#include <algorithm>

namespace kestrel {

namespace {

// One run over a model and its skeleton.
class lint_run_t {
  public:
    lint_run_t(const lint_options_t &options, const open_file_t &open) : options_(options), open_(open) {}

    std::vector<linted_file_t> run(const std::string &path) {
        if (path.ends_with(".kis"))
            lint_skeleton(path);
        else
            lint_model(path);
        return std::move(files_);
    }

  private:
    // Opens, and lets `check` look at file and context, which gives whether the text could be parsed.
    template <class F>
    void with_file(const std::string &path, F check) {
        const auto file = open_(path);
        const size_t number = files_.size();
        files_.push_back({path, file ? "" : "cannot be opened", {}});
        if (!file)
            return;
        source_map_t map;
        source_text_t text(*file);
        lint_findings_t findings(options_.limit);
        lint_context_t context{map, text, findings, options_.tangent};
        const bool parsed = check(*file, map, context);
        if (!parsed && map.refusals().empty())
            files_[number].failure = "cannot be read";
        auto found = findings.take();
        text.locate(found);
        files_[number].findings = std::move(found);
    }
    void lint_model(const std::string &path);
    const kis_t *lint_skeleton(const std::string &path);
    const kis_t *find_skeleton(const kim_t &model, const std::string &model_path, lint_context_t &context);

    const lint_options_t &options_;
    const open_file_t &open_;
    owner_list_t owners_;
    std::vector<linted_file_t> files_;
};

void lint_run_t::lint_model(const std::string &path) {
    with_file(path, [&](file_t &file, source_map_t &map, lint_context_t &context) {
        scanner_t scanner(file);
        scanner.set_observer(&map);
        const kim_t *const model = parse_model(scanner, owners_);
        check_text(context);
        if (!model)
            return false;
        check_paragraphs(*model, context);
        check_pieces(*model, context);
        if (model->has_skinning())
            check_skin(*model, find_skeleton(*model, path, context), context);
        return true;
    });
}

const kis_t *lint_run_t::lint_skeleton(const std::string &path) {
    const kis_t *skeleton = nullptr;
    with_file(path, [&](file_t &file, source_map_t &map, lint_context_t &context) {
        scanner_t scanner(file);
        scanner.set_observer(&map);
        skeleton = parse_skeleton(scanner, owners_);
        check_text(context);
        if (skeleton)
            check_skeleton(*skeleton, context);
        return skeleton != nullptr;
    });
    return skeleton;
}

const kis_t *lint_run_t::find_skeleton(const kim_t &model, const std::string &model_path,
                                       lint_context_t &context) {
    const std::string_view name = model.global->skeleton.view();
    const std::string path =
        concat(std::string_view(model_path).substr(0, model_path.find_last_of("/\\") + 1), name);
    const kis_t *const skeleton = name.empty() ? nullptr : lint_skeleton(path);
    if (!name.empty() && files_.back().failure.empty() && skeleton)
        return skeleton;
    const bool opened = !name.empty() && files_.back().failure.empty();
    if (!name.empty() && !opened)
        files_.pop_back(); // it is told of the model
    context.findings.add(lint_code_t::skeleton_missing, context.map.field("GLOBAL"_kw, 0, "SKELETON"_kw),
                         [&] {
                             return name.empty() ? "the model has a skin, and Skeleton is empty"
                                    : opened     ? concat("the skeleton ", quoted(path), " is refused")
                                                 : concat("the skeleton ", quoted(path), " cannot be opened");
                         });
    return nullptr;
}

} // namespace

void count_findings(std::span<const lint_finding_t> findings, finding_counts_t &counts) {
    for (const lint_finding_t &finding : findings)
        counts.add(kind_of(finding.code).severity, std::max<uint64_t>(finding.more, 1));
}

std::unique_ptr<file_t> open_system_file(const std::string &path) {
    return file_system()->system_device.open(path, fs_open_mode_t::read);
}

std::vector<linted_file_t> lint_file(const std::string &path, const lint_options_t &options,
                                     const open_file_t &open) {
    return lint_run_t(options, open).run(path);
}

} // namespace kestrel
