// SPDX-License-Identifier: BSD-2-Clause
#include "platform/plist/PlainXml.h"

#include <algorithm>

namespace brindle::platform {
namespace {

class Scanner {
  public:
    explicit Scanner(std::string_view bytes) : rest_(bytes) {}

    bool atEnd() const { return rest_.empty(); }

    void skipSpace() {
        std::size_t count = 0;
        while (count < rest_.size() && isSpace(rest_[count]))
            ++count;
        rest_.remove_prefix(count);
    }

    bool take(std::string_view literal) {
        if (!rest_.starts_with(literal))
            return false;
        rest_.remove_prefix(literal.size());
        return true;
    }

    /// Takes everything up to and including `end`; nothing when it does not come.
    std::optional<std::string_view> takeThrough(std::string_view end) {
        const std::size_t place = rest_.find(end);
        if (place == rest_.npos)
            return std::nullopt;
        const std::string_view taken = rest_.substr(0, place);
        rest_.remove_prefix(place + end.size());
        return taken;
    }

    /// The plain text that an end tag follows; nothing when it is not plain.
    std::optional<std::string_view> takeText(std::string_view endTag) {
        std::size_t length = 0;
        while (length < rest_.size() && isPlain(rest_[length]))
            ++length;
        const std::string_view text = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return take(endTag) ? std::optional(text) : std::nullopt;
    }

  private:
    static bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
    static bool isPlain(char c) { return c > ' ' && c <= '~' && c != '<' && c != '&'; }

    std::string_view rest_;
};

/// Whether what was taken up to the first ">" cannot go on behind it: no ">" inside quotes, no
/// inner declaration.
bool isPlainDeclaration(std::string_view text) {
    return text.find_first_of("['<") == text.npos && std::ranges::count(text, '"') % 2 == 0;
}

/// Everything before the root dictionary's content.
bool takeProlog(Scanner& scanner) {
    scanner.take("\xEF\xBB\xBF");
    scanner.skipSpace();
    if (scanner.take("<?xml ")) {
        const auto declaration = scanner.takeThrough("?>");
        if (!declaration || !isPlainDeclaration(*declaration))
            return false;
    }
    scanner.skipSpace();
    if (scanner.take("<!DOCTYPE ")) {
        const auto type = scanner.takeThrough(">");
        if (!type || !isPlainDeclaration(*type))
            return false;
        scanner.skipSpace();
    }
    while (scanner.take("<!--")) {
        if (!scanner.takeThrough("-->"))
            return false;
        scanner.skipSpace();
    }
    if (!scanner.take("<plist version=\"1.0\">"))
        return false;
    scanner.skipSpace();
    return scanner.take("<dict>");
}

std::optional<TextArray> takeArray(Scanner& scanner) {
    TextArray texts;
    if (scanner.take("<array/>"))
        return texts;
    if (!scanner.take("<array>"))
        return std::nullopt;
    for (;;) {
        scanner.skipSpace();
        if (scanner.take("<string>")) {
            const auto text = scanner.takeText("</string>");
            if (!text)
                return std::nullopt;
            texts.push_back(*text);
        } else if (scanner.take("</array>")) {
            return texts;
        } else {
            return std::nullopt;
        }
    }
}

} // namespace

std::optional<TextArrays> parsePlainXml(std::string_view bytes) {
    Scanner scanner(bytes);
    TextArraysMaker lists;
    if (!takeProlog(scanner))
        return std::nullopt;
    for (;;) {
        scanner.skipSpace();
        if (!scanner.take("<key>"))
            break;
        const auto key = scanner.takeText("</key>");
        scanner.skipSpace();
        auto texts = key ? takeArray(scanner) : std::nullopt;
        if (!texts)
            return std::nullopt;
        lists.add(*key, std::move(*texts));
    }
    const bool closed = scanner.take("</dict>");
    scanner.skipSpace();
    if (!closed || !scanner.take("</plist>"))
        return std::nullopt;
    scanner.skipSpace();
    return scanner.atEnd() ? std::optional(std::move(lists).take()) : std::nullopt;
}

void TextArraysMaker::add(std::string_view key, TextArray texts) {
    const auto [place, isNew] = places_.try_emplace(std::string(key), entries_.size());
    if (isNew)
        entries_.push_back({std::string(key), std::move(texts)});
    else
        entries_[place->second].texts = std::move(texts);
}

} // namespace brindle::platform
