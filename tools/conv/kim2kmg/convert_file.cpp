#include "tools/conv/kim2kmg/convert_file.h"

#include "kcore/collections/city_hash.h"
#include "kcore/dependencies/dependency_file.h"
#include "kcore/dependencies/withdrawn_record.h"
#include "kcore/kutils/ufs/fs_copy.h"
#include "kcore/kutils/ufs/mem_file.h"
#include "kcore/messages/messages.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/asset_path.h"
#include "tools/conv/kim2kmg/discard_degenerated_triangles.h"
#include "tools/conv/kim2kmg/merge_part_pieces.h"
#include "tools/conv/kim2kmg/optimize_for_vertex_cache.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"

namespace kestrel {

namespace {

// The working state of one conversion; everything in it goes when the conversion ends.
class conversion_t {
  public:
    conversion_t(rcfs_device_t &device, const char *input_name, const option_flags_t &options)
        : device_(device), input_name_(input_name), options_(options) {}

    bool run() {
        return check_name() && prepare() && load_model() && load_skeleton() && (run_passes(), true) &&
               write_output();
    }

  private:
    bool check_name() const;
    bool out_of_memory() const;
    bool prepare();
    bool load_model();
    bool load_skeleton();
    void hash_skeleton(const file_t &file);
    void run_passes();
    bool write_output();
    bool fill_output(file_t &output);

    rcfs_device_t &device_;
    const char *input_name_;
    const option_flags_t &options_;
    string_dyn_t output_name_;
    dependency_record_t dependencies_;
    owner_list_t owners_;
    kim_t *model_ = nullptr;
    kis_t *skeleton_ = nullptr; // none for a model without skin
};

bool conversion_t::check_name() const {
    if (std::string_view(input_name_).ends_with(model_extension))
        return true;
    msg_error("%s: invalid filename (should end with '.kim')", input_name_);
    return false;
}

bool conversion_t::out_of_memory() const {
    msg_error("%s: memory exhausted", input_name_);
    return false;
}

bool conversion_t::prepare() {
    return (make_output_name(input_name_, output_name_) && dependencies_.set_primary_source(input_name_) &&
            dependencies_.set_version(version_text)) ||
           out_of_memory();
}

std::unique_ptr<file_t> open_in(sysfs_device_t &store, std::string_view path, fs_open_mode_t mode) {
    auto file = store.open(path, mode);
    if (file)
        file->set_path_kind(fs_path_kind_t::ufs);
    return file;
}

bool conversion_t::load_model() {
    const auto file = open_in(device_.primary_store(), input_name_, fs_open_mode_t::read);
    if (!file) {
        msg_error("%s: Failed to open", input_name_);
        return false;
    }
    model_ = parse_model_file(*file, owners_);
    if (!model_) {
        msg_error("cannot parse %s", input_name_);
        return false;
    }
    return file->get_display_name(model_->source_name) || out_of_memory();
}

bool conversion_t::load_skeleton() {
    if (!model_->has_skinning())
        return true;
    string_dyn_t path;
    if (!make_sibling_name(output_name_.view(), model_->global->skeleton.view(), path))
        return out_of_memory();
    const auto file = open_in(device_.primary_store(), path.view(), fs_open_mode_t::read);
    if (!file) {
        msg_error("%s: failed to open", path.c_str());
        return false;
    }
    skeleton_ = parse_skeleton_file(*file, owners_);
    if (!skeleton_) {
        msg_error("cannot parse %s", path.c_str());
        return false;
    }
    if (!file->get_display_name(skeleton_->source_name) || !dependencies_.add_dependency(path.view()))
        return out_of_memory();
    hash_skeleton(*file);
    return true;
}

// The hash tells where the skeleton lies in the asset tree, not what is in it.
void conversion_t::hash_skeleton(const file_t &file) {
    fs_path_t resolved;
    file.get_mount_path(resolved);
    if (resolve_parent_references(resolved))
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
    // Until the new one stands, no record vouches for the output.
    withdrawn_record_t old_record(device_, output_name_.view());
    std::unique_ptr<file_t> output;
    try {
        if (old_record.withdraw())
            output = open_in(device_.cache_store(), output_name_.view(), fs_open_mode_t::create_truncate);
    } catch (const std::bad_alloc &) {
        device_.remove_file(output_name_.view());
        throw;
    }
    if (!output) {
        msg_error("error opening output file %s", output_name_.c_str());
        old_record.put_back();
        return false;
    }
    old_record.drop();
    bool whole = false;
    try {
        whole = fill_output(*output);
    } catch (const std::bad_alloc &) {
        out_of_memory();
    }
    if (whole)
        return true;
    output.reset();
    device_.remove_file(output_name_.view());
    return false;
}

bool conversion_t::fill_output(file_t &output) {
    mem_file_t geometry;
    if (!kmg_write(*model_, skeleton_, options_.tangent, geometry) || !fs_copy(&output, &geometry))
        return false;
    if (!output.close()) {
        msg_error("[kim2kmg] %s: error closing output file", display_name_of(&output).c_str());
        return false;
    }
    if (!write_dependency_file(device_, dependencies_, output_name_.view())) {
        msg_error("%s: failed to write deps.", output_name_.c_str());
        return false;
    }
    return true;
}

} // namespace

bool convert_file(rcfs_device_t &device, const char *input_name, const option_flags_t &options) {
    try {
        return conversion_t(device, input_name, options).run();
    } catch (const std::bad_alloc &) {
        msg_error("%s: memory exhausted", input_name);
        return false;
    }
}

} // namespace kestrel
