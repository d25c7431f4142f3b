#include "tools/lint/lint_findings.h"

#include <algorithm>
#include <tuple>

namespace kestrel {

static constexpr lint_kind_t kinds[] = {
#define LINT_KIND(code, severity, meaning, cure) {{#code, severity_t::severity, meaning}, cure},
    LINT_FINDINGS(LINT_KIND)
#undef LINT_KIND
};

std::span<const lint_kind_t> lint_kinds() {
    return kinds;
}

const lint_kind_t &kind_of(lint_code_t code) {
    return kinds[static_cast<size_t>(code)];
}

std::vector<lint_finding_t> lint_findings_t::take() {
    for (size_t code = 0; code < code_count; ++code)
        if (const tally_t &tally = tallies_[code]; tally.more != 0)
            kept_.push_back({static_cast<lint_code_t>(code), tally.first,
                             concat("and ", tally.more, " more like this, here the first"), tally.more});
    const auto rank = [](const lint_finding_t &finding) {
        const int mildness = -static_cast<int>(kind_of(finding.code).severity);
        return std::tuple(mildness, finding.code, finding.more, finding.place);
    };
    std::stable_sort(kept_.begin(), kept_.end(),
                     [&](const auto &a, const auto &b) { return rank(a) < rank(b); });
    return std::move(kept_);
}

} // namespace kestrel
