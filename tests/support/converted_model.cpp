#include "tests/support/converted_model.h"

#include "kcore/kutils/ufs/mem_file.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kestrel {

namespace fs = std::filesystem;

static std::string text_of(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + file.string());
    return {std::istreambuf_iterator<char>(stream), {}};
}

converted_model_t::converted_model_t(const fs::path &file, bool tangents) {
    model = parse_model_text(text_of(file), file.string().c_str(), owners);
    if (!model)
        throw std::runtime_error("cannot parse " + file.string());
    if (model->has_skinning()) {
        const fs::path skeleton_file = file.parent_path() / model->global->skeleton.c_str();
        skeleton = parse_skeleton_text(text_of(skeleton_file), skeleton_file.string().c_str(), owners);
        if (!skeleton)
            throw std::runtime_error("cannot parse " + skeleton_file.string());
    }
    mem_file_t geometry;
    if (!kmg_write(*model, skeleton, tangents, geometry))
        throw std::runtime_error("cannot write the geometry of " + file.string());
    bytes.resize(geometry.get_size());
    if (!bytes.empty() && !geometry.read_at(bytes, 0))
        throw std::runtime_error("cannot read the geometry back");
}

std::vector<fs::path> sample_models() {
    std::vector<fs::path> models;
    for (const auto &entry : fs::recursive_directory_iterator(KIM2KMG_SAMPLES))
        if (entry.path().extension() == ".kim")
            models.push_back(entry.path());
    std::sort(models.begin(), models.end());
    if (models.empty())
        throw std::runtime_error("no samples");
    return models;
}

} // namespace kestrel
