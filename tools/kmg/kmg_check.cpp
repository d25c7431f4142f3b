#include "tools/kmg/kmg_check.h"

#include "tools/kmg/kmg_checks.h"

#include <algorithm>

namespace kestrel {

static finding_code_t code_of(kmg_fault_code_t code) {
    switch (code) {
    case kmg_fault_code_t::file_too_short:
        return finding_code_t::file_too_short;
    case kmg_fault_code_t::file_too_long:
        return finding_code_t::file_too_long;
    case kmg_fault_code_t::signature:
        return finding_code_t::signature;
    case kmg_fault_code_t::count:
        return finding_code_t::count;
    case kmg_fault_code_t::section:
        return finding_code_t::section;
    case kmg_fault_code_t::piece_layout:
        return finding_code_t::piece_layout;
    case kmg_fault_code_t::part_range:
        return finding_code_t::part_range;
    case kmg_fault_code_t::bone_parent:
        return finding_code_t::bone_parent;
    }
    return finding_code_t::section;
}

std::vector<kmg_finding_t> check_kmg(std::span<const std::byte> file, uint32_t limit) {
    kmg_findings_t findings(limit);
    find_structure_faults(file, [&](const kmg_fault_t &fault) {
        findings.add(code_of(fault.code), {fault.kind, fault.index, fault.byte},
                     concat(fault.field, " is ", fault.found, ", ", fault.wanted, " ", fault.expected));
    });
    if (!findings.any())
        if (const auto reader = kmg_reader_t::open(file)) {
            check_bones(*reader, findings);
            check_parts_and_locators(*reader, findings);
            check_pieces(*reader, findings);
        }
    return findings.take();
}

bool has_error(std::span<const kmg_finding_t> findings) {
    return std::any_of(findings.begin(), findings.end(), [](const kmg_finding_t &finding) {
        return kind_of(finding.code).severity == severity_t::error;
    });
}

} // namespace kestrel
