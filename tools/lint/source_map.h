#pragma once

// Where the paragraphs, fields and lists of items of a text stand, and what the grammar refused or skipped.
//
// Takes sixteen bytes a field and nothing an item. Paragraphs come in the order of the model's objects, so an
// object's number leads to its paragraph.

#include "tools/conv/intermediate/parse_observer.h"
#include "tools/lint/lint_findings.h"

#include <map>
#include <string>
#include <vector>

namespace kestrel {

class source_map_t final : public parse_observer_t {
  public:
    // A run of bytes that begin no token, and its first few.
    struct skipped_t {
        uint64_t offset;
        uint64_t length;
        std::string start;
    };
    struct token_fault_place_t {
        token_fault_t fault;
        uint64_t offset;
    };
    struct refused_t : parse_refusal_t {
        std::vector<token_kind_t> wanted; // tokens that could have stood there
        uint64_t first_item;              // of the list that the parse was in or had just left
    };
    // How the items of a list are written; a count of 0 for any way.
    struct items_t {
        uint64_t first = 0;
        token_kind_t kind = token_kind_t::none;
        uint32_t count = 0;
    };

    // The paragraph of the n-th object of its kind; the beginning of the file when there is none.
    text_place_t paragraph(token_kind_t keyword, size_t nth) const;
    // A field of it, or the paragraph itself when it has no such field.
    text_place_t field(token_kind_t keyword, size_t nth, token_kind_t field) const;
    // The n-th of all its fields; of paragraphs whose items are made of fields.
    text_place_t nth_field(token_kind_t keyword, size_t nth, size_t field) const;
    items_t items(token_kind_t keyword, size_t nth) const;
    text_place_t item(token_kind_t keyword, size_t nth, uint32_t number) const {
        return {items(keyword, nth).first, number};
    }

    std::span<const skipped_t> skipped() const { return skipped_; }
    uint64_t further_skipped() const { return further_skipped_; }
    std::span<const token_fault_place_t> token_faults() const { return token_faults_; }
    std::span<const refused_t> refusals() const { return refusals_; }

    void on_paragraph(token_kind_t keyword, uint64_t offset) override;
    void on_field(token_kind_t keyword, uint64_t offset) override;
    void on_items(uint64_t first, token_kind_t kind, uint32_t count) override;
    void on_skipped_byte(char byte, uint64_t offset) override;
    void on_token_fault(token_fault_t fault, uint64_t offset) override;
    void on_missed_token(token_kind_t wanted, uint64_t offset) override;
    bool on_refusal(const parse_refusal_t &refusal) override;

  private:
    struct mark_t {
        uint64_t offset;
        token_kind_t keyword; // `none` for a list of items
        token_kind_t kind;    // of the items; `none` for a field
        uint8_t count;
        bool opens; // a paragraph
    };
    // The marks behind the paragraph's own, up to the next paragraph's.
    std::span<const mark_t> marks_of(token_kind_t keyword, size_t nth) const;

    std::vector<mark_t> marks_;
    std::map<token_kind_t, std::vector<uint32_t>> paragraphs_; // positions among the marks
    std::vector<skipped_t> skipped_;
    uint64_t further_skipped_ = 0;
    std::vector<token_fault_place_t> token_faults_;
    std::vector<token_kind_t> missed_;
    uint64_t missed_at_ = 0;
    std::vector<refused_t> refusals_;
};

// Is it a count or the like after which the parse may go on with a whole model?
bool may_go_on_after(std::string_view refusal);

} // namespace kestrel
