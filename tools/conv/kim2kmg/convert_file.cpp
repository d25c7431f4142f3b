#include "tools/conv/kim2kmg/convert_file.h"

#include "kcore/collections/city_hash.h"
#include "kcore/kutils/ufs/fs_copy.h"
#include "kcore/kutils/ufs/mem_file.h"
#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/names_and_parent_references.h"
#include "tools/conv/kim2kmg/output_and_old_record.h"
#include "tools/conv/kim2kmg/passes/passes.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"

#include <new>

namespace kestrel {

namespace {

// The working state of one conversion; everything in it goes when the conversion ends.
class conversion_t {
  public:
    conversion_t(rcfs_device_t &device, const char *input_name, const option_flags_t &options)
        : device_(device), input_name_(input_name), options_(options) {}

    bool run();

  private:
    bool load_model();
    bool load_skeleton();
    void hash_skeleton(const file_t &file);
    void run_passes();
    bool write_output();

    rcfs_device_t &device_;
    const char *input_name_;
    const option_flags_t &options_;
    string_dyn_t output_name_;
    dependency_record_t dependencies_;
    owner_list_t owners_;
    kim_t *model_ = nullptr;
    kis_t *skeleton_ = nullptr; // none for a model without skin
};

bool conversion_t::run() {
    if (!std::string_view(input_name_).ends_with(model_extension))
        return msg_error("%s: invalid filename (should end with '.kim')", input_name_);
    make_output_name(input_name_, output_name_);
    dependencies_.set_version(version_text);
    if (!dependencies_.set_primary_source(input_name_))
        throw std::bad_alloc();
    if (!load_model())
        return false;
    if (model_->has_skinning() && !load_skeleton())
        return false;
    run_passes();
    return write_output();
}

bool conversion_t::load_model() {
    const auto file = open_in(device_.primary_store(), input_name_, fs_open_mode_t::read);
    if (!file)
        return msg_error("%s: Failed to open", input_name_);
    model_ = parse_model_file(*file, owners_);
    if (!model_)
        return msg_error("cannot parse %s", input_name_);
    file->get_display_name(model_->source_name);
    return true;
}

bool conversion_t::load_skeleton() {
    string_dyn_t path;
    make_sibling_name(output_name_.view(), model_->global->skeleton.view(), path);
    const auto file = open_in(device_.primary_store(), path.view(), fs_open_mode_t::read);
    if (!file)
        return msg_error("%s: failed to open", path.c_str());
    skeleton_ = parse_skeleton_file(*file, owners_);
    if (!skeleton_)
        return msg_error("cannot parse %s", path.c_str());
    file->get_display_name(skeleton_->source_name);
    hash_skeleton(*file);
    if (!dependencies_.add_dependency(path.view()))
        throw std::bad_alloc();
    return true;
}

// The hash tells where the skeleton lies in the asset tree, not what is in it.
void conversion_t::hash_skeleton(const file_t &file) {
    fs_path_t resolved;
    if (file.get_mount_path(resolved) && resolve_parent_references(resolved))
        skeleton_->hash = city_hash_64(resolved.view());
    else
        msg_error("[kis] Error computing skeleton hash! (%s)", resolved.c_str());
}

void conversion_t::run_passes() {
    if (options_.discard_bad_triangles)
        discard_degenerated_triangles(*model_);
    if (options_.merge_part_pieces)
        merge_part_pieces(*model_);
    if (options_.optimize_for_vertex_cache)
        optimize_for_vertex_cache(*model_, options_.verbose);
}

bool conversion_t::write_output() {
    new_output_t output(device_, output_name_.c_str());
    if (!output.file())
        return msg_error("error opening output file %s", output_name_.c_str());
    mem_file_t geometry;
    return kmg_write(std::move(*model_), skeleton_, options_.tangent, geometry) &&
           fs_copy(output.file(), &geometry) && output.file()->close() &&
           output.keep(geometry.get_size(), dependencies_);
}

} // namespace

bool convert_file(rcfs_device_t &device, const char *input_name, const option_flags_t &options) {
    conversion_t conversion(device, input_name, options);
    try {
        return conversion.run();
    } catch (const std::bad_alloc &) {
        return msg_error("%s: memory exhausted", input_name);
    }
}

size_t convert_files(std::string_view base_directory, std::string_view root, const option_flags_t &options,
                     std::span<char *const> input_names) try {
    rcfs_device_t device(*file_system(), base_directory, root);
    size_t failures = 0;
    for (const char *const input_name : input_names)
        failures += !convert_file(device, input_name, options);
    return failures;
} catch (const std::bad_alloc &) { // from the device
    msg_error("kim2kmg: memory exhausted");
    return input_names.size();
}

} // namespace kestrel
