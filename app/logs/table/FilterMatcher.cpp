// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/FilterExpression.h"

#include "app/logs/table/DateTexts.h"
#include "app/logs/table/FilterTerm.h"
#include "app/logs/table/FoldCase.h"
#include "app/logs/table/LogColumn.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace brindle {
namespace {

constexpr std::size_t kPorts = 65536;

std::string foldedText(const VDXLog& log, LogField field) {
    return foldCase(log.text(field));
}

/// Any shown text, and the address behind a shown name.
bool wordHit(const FilterTerm& term, const VDXLog& log) {
    return std::ranges::any_of(
               allLogColumns(),
               [&](LogColumn column) { return term.found(foldCase(columnText(log, column))); }) ||
           term.found(foldedText(log, LogField::srcip)) ||
           term.found(foldedText(log, LogField::dstip));
}

bool nameHit(const FilterTerm& term, const VDXLog& log, LogField raw, LogField shown) {
    const std::string name = log.text(shown);
    return name != log.text(raw) && term.nameHit(foldCase(name));
}
bool sourceNameHit(const FilterTerm& term, const VDXLog& log) {
    return nameHit(term, log, LogField::srcip, LogField::addresssrcip);
}
bool destinationNameHit(const FilterTerm& term, const VDXLog& log) {
    return nameHit(term, log, LogField::dstip, LogField::addressdstip);
}
bool sourceHit(const FilterTerm& term, const VDXLog& log) {
    return term.addressHit(foldedText(log, LogField::srcip)) || sourceNameHit(term, log);
}
bool destinationHit(const FilterTerm& term, const VDXLog& log) {
    return term.addressHit(foldedText(log, LogField::dstip)) || destinationNameHit(term, log);
}
bool sourcePortHit(const FilterTerm& term, const VDXLog& log) {
    return term.portHit(log.text(LogField::srcport), foldedText(log, LogField::srcportname));
}
bool destinationPortHit(const FilterTerm& term, const VDXLog& log) {
    return term.portHit(log.text(LogField::dstport), foldedText(log, LogField::dstportname));
}

bool hit(const FilterTerm& term, const VDXLog& log) {
    switch (term.field) {
    case FilterField::word:
        return wordHit(term, log);
    case FilterField::source:
        return sourceHit(term, log);
    case FilterField::destination:
        return destinationHit(term, log);
    case FilterField::address:
        return sourceHit(term, log) || destinationHit(term, log);
    case FilterField::sourcePort:
        return sourcePortHit(term, log);
    case FilterField::destinationPort:
        return destinationPortHit(term, log);
    case FilterField::port:
        return sourcePortHit(term, log) || destinationPortHit(term, log);
    case FilterField::user:
        return term.found(foldCase(columnText(log, LogColumn::user)));
    case FilterField::uid:
        return term.uidHit(log.text(LogField::uid));
    case FilterField::rule:
        return term.foundWhole(foldedText(log, LogField::rule));
    case FilterField::interface:
        return term.foundWhole(foldedText(log, LogField::interface));
    case FilterField::protocol:
        return foldedText(log, LogField::proto) == term.needle;
    case FilterField::action:
        return actionFromText(log.text(LogField::action)) == term.action;
    case FilterField::direction:
        return directionFromText(log.text(LogField::direction)) == term.direction;
    case FilterField::host:
        return sourceNameHit(term, log) || destinationNameHit(term, log);
    case FilterField::service:
        return term.found(foldedText(log, LogField::srcportname)) ||
               term.found(foldedText(log, LogField::dstportname));
    }
    return false;
}

/// A batch with its characters in lower case.
struct FoldedBatch {
    const RecordBatch& batch;
    std::string_view characters;

    std::string_view text(TextIndex index) const {
        const auto ends = batch.textEnds();
        const std::uint32_t begin = index == 0 ? 0 : ends[index - 1u];
        return characters.substr(begin, ends[index] - begin);
    }
};

/// The answer of a test for each text of a batch, found when it is first asked for.
template <typename Test>
class TextAnswers {
  public:
    TextAnswers(const FoldedBatch& batch, Test test)
        : batch_(batch), test_(std::move(test)), answers_(batch.batch.textCount(), kUnknown) {}
    bool operator()(TextIndex index) {
        std::uint8_t& answer = answers_[index];
        if (answer == kUnknown)
            answer = test_(batch_.text(index)) ? 1 : 0;
        return answer != 0;
    }

  private:
    static constexpr std::uint8_t kUnknown = 2;
    const FoldedBatch& batch_;
    Test test_;
    std::vector<std::uint8_t> answers_;
};

/// For each text of the batch whether it holds the needle: one search through all characters.
std::vector<std::uint8_t> textsWith(const FoldedBatch& folded, std::string_view needle) {
    const auto ends = folded.batch.textEnds();
    std::vector<std::uint8_t> with(ends.size(), 0);
    std::size_t text = 0;
    std::size_t at = folded.characters.find(needle);
    while (at != std::string_view::npos) {
        while (text < ends.size() && ends[text] <= at)
            ++text;
        if (text == ends.size())
            break;
        std::size_t next = at + 1;
        if (at + needle.size() <= ends[text]) {
            with[text] = 1;
            next = ends[text];
        }
        at = folded.characters.find(needle, next);
    }
    return with;
}

} // namespace

std::string_view FilterNames::service(std::uint16_t port) const {
    return services ? std::string_view((*services)[port]) : std::string_view();
}

std::string_view FilterNames::user(std::uint32_t uid) const {
    if (!users)
        return {};
    const auto found = users->find(uid);
    return found == users->end() ? std::string_view() : std::string_view(found->second);
}

bool FilterExpression::matches(const VDXLog& log) const {
    return std::ranges::all_of(terms_,
                               [&](const auto& term) { return hit(*term, log) != term->negated; });
}

struct FilterMatcher::TermState {
    std::shared_ptr<const FilterTerm> term;
    std::vector<std::uint8_t> ports; ///< by number; filled for terms that look at ports
    std::unordered_map<std::uint32_t, bool> users;
    DateTexts dates;

    void fillPorts(const FilterNames& names);
    bool user(std::uint32_t uid, const FilterNames& names);
    bool testUser(std::uint32_t uid, const FilterNames& names) const;
    template <typename Hit>
    void keep(std::span<const RecordRow> rows, std::span<std::uint8_t> passes, Hit hit) const;
    template <typename Text>
    void keepTexts(const FoldedBatch& folded, std::span<const RecordRow> rows,
                   std::span<std::uint8_t> passes, TextIndex RecordRow::*index, Text test) const;
    void keepWords(const FoldedBatch& folded, const FilterNames& names,
                   std::span<const RecordRow> rows, std::span<std::uint8_t> passes);
    void match(const FoldedBatch& folded, const FilterNames& names, std::span<const RecordRow> rows,
               std::span<std::uint8_t> passes);
};

void FilterMatcher::TermState::fillPorts(const FilterNames& names) {
    if (!ports.empty())
        return;
    ports.resize(kPorts);
    for (std::size_t port = 0; port < kPorts; ++port) {
        char digits[8];
        const char* end = std::to_chars(digits, digits + sizeof digits, port).ptr;
        const std::string_view number(digits, static_cast<std::size_t>(end - digits));
        const std::string service = foldCase(names.service(static_cast<std::uint16_t>(port)));
        if (term->field == FilterField::word)
            ports[port] = term->found(service.empty() ? number : portLabel(number, service));
        else if (term->field == FilterField::service)
            ports[port] = term->found(service);
        else
            ports[port] = term->portHit(number, service);
    }
}

bool FilterMatcher::TermState::testUser(std::uint32_t uid, const FilterNames& names) const {
    const std::string number = std::to_string(uid);
    if (term->field == FilterField::uid)
        return term->uidHit(number);
    const std::string_view name = names.user(uid);
    return term->found(foldCase(name.empty() ? std::string_view(number) : name));
}

bool FilterMatcher::TermState::user(std::uint32_t uid, const FilterNames& names) {
    const auto [known, isNew] = users.try_emplace(uid, false);
    if (isNew)
        known->second = testUser(uid, names);
    return known->second;
}

/// Leaves those rows among the passing ones that are hit, or that are not if the term is negated.
template <typename Hit>
void FilterMatcher::TermState::keep(std::span<const RecordRow> rows, std::span<std::uint8_t> passes,
                                    Hit hits) const {
    const bool negated = term->negated;
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (passes[i])
            passes[i] = hits(rows[i]) != negated;
}

template <typename Text>
void FilterMatcher::TermState::keepTexts(const FoldedBatch& folded, std::span<const RecordRow> rows,
                                         std::span<std::uint8_t> passes,
                                         TextIndex RecordRow::*index, Text test) const {
    TextAnswers answers(folded, std::move(test));
    keep(rows, passes, [&](const RecordRow& row) { return answers(row.*index); });
}

void FilterMatcher::TermState::keepWords(const FoldedBatch& folded, const FilterNames& names,
                                         std::span<const RecordRow> rows,
                                         std::span<std::uint8_t> passes) {
    fillPorts(names);
    const std::vector<std::uint8_t> with = textsWith(folded, term->needle);
    std::array<bool, 4> verdicts{};
    for (const Action action : {Action::pass, Action::block})
        for (const Direction direction : {Direction::in, Direction::out})
            verdicts[static_cast<std::size_t>(action) * 2 + static_cast<std::size_t>(direction)] =
                term->found(foldCase(verdictText(action, direction)));
    const bool someVerdict = std::ranges::find(verdicts, true) != verdicts.end();
    const bool maybeDate = term->couldBeDate();
    std::uint32_t lastUid = 0;
    bool lastUserHit = user(lastUid, names);

    keep(rows, passes, [&](const RecordRow& row) {
        if (with[row.srcip] | with[row.dstip] | with[row.rule] | with[row.interface] |
            with[row.proto] | ports[row.srcport] | ports[row.dstport])
            return true;
        if (row.uid != lastUid) {
            lastUid = row.uid;
            lastUserHit = user(row.uid, names);
        }
        if (lastUserHit)
            return true;
        if (someVerdict) {
            const Action action = actionFromText(folded.batch.text(row.action));
            const Direction direction = directionFromText(folded.batch.text(row.direction));
            if (verdicts[static_cast<std::size_t>(action) * 2 +
                         static_cast<std::size_t>(direction)])
                return true;
        }
        return maybeDate && term->found(dates.text(row.epoch));
    });
}

void FilterMatcher::TermState::match(const FoldedBatch& folded, const FilterNames& names,
                                     std::span<const RecordRow> rows,
                                     std::span<std::uint8_t> passes) {
    const auto address = [this](std::string_view text) { return term->addressHit(text); };
    const auto whole = [this](std::string_view text) { return term->foundWhole(text); };
    switch (term->field) {
    case FilterField::word:
        keepWords(folded, names, rows, passes);
        break;
    case FilterField::source:
        keepTexts(folded, rows, passes, &RecordRow::srcip, address);
        break;
    case FilterField::destination:
        keepTexts(folded, rows, passes, &RecordRow::dstip, address);
        break;
    case FilterField::address: {
        TextAnswers answers(folded, address);
        keep(rows, passes,
             [&](const RecordRow& row) { return answers(row.srcip) || answers(row.dstip); });
        break;
    }
    case FilterField::sourcePort:
        fillPorts(names);
        keep(rows, passes, [&](const RecordRow& row) { return ports[row.srcport] != 0; });
        break;
    case FilterField::destinationPort:
        fillPorts(names);
        keep(rows, passes, [&](const RecordRow& row) { return ports[row.dstport] != 0; });
        break;
    case FilterField::port:
    case FilterField::service:
        fillPorts(names);
        keep(rows, passes,
             [&](const RecordRow& row) { return (ports[row.srcport] | ports[row.dstport]) != 0; });
        break;
    case FilterField::user:
    case FilterField::uid:
        keep(rows, passes, [&](const RecordRow& row) { return user(row.uid, names); });
        break;
    case FilterField::rule:
        keepTexts(folded, rows, passes, &RecordRow::rule, whole);
        break;
    case FilterField::interface:
        keepTexts(folded, rows, passes, &RecordRow::interface, whole);
        break;
    case FilterField::protocol:
        keepTexts(folded, rows, passes, &RecordRow::proto,
                  [this](std::string_view text) { return text == term->needle; });
        break;
    // Action and direction are told apart by their exact texts.
    case FilterField::action:
        keep(rows, passes, [&](const RecordRow& row) {
            return actionFromText(folded.batch.text(row.action)) == term->action;
        });
        break;
    case FilterField::direction:
        keep(rows, passes, [&](const RecordRow& row) {
            return directionFromText(folded.batch.text(row.direction)) == term->direction;
        });
        break;
    case FilterField::host:
        // A host name is a row's own text.
        keep(rows, passes, [](const RecordRow&) { return false; });
        break;
    }
}

FilterMatcher::FilterMatcher(const FilterExpression& expression, FilterNames names)
    : names_(std::move(names)) {
    for (const auto& term : expression.terms_) {
        states_.emplace_back();
        states_.back().term = term;
    }
}

FilterMatcher::~FilterMatcher() = default;

void FilterMatcher::match(const RecordBatch& batch, std::size_t first,
                          std::span<std::uint8_t> passes) {
    std::ranges::fill(passes, std::uint8_t{1});
    if (states_.empty())
        return;
    folded_.assign(batch.characters());
    for (char& c : folded_)
        c = foldCase(c);
    const FoldedBatch folded{batch, folded_};
    for (TermState& state : states_)
        state.match(folded, names_, batch.rows().subspan(first, passes.size()), passes);
}

} // namespace brindle
