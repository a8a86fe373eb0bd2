// SPDX-License-Identifier: BSD-2-Clause
#include "platform/plist/PlainXml.h"

#include <algorithm>
#include <string>
#include <vector>

namespace brindle::platform {
namespace {

class Scanner {
  public:
    explicit Scanner(const ByteSource& source) : source_(source), window_(kWindow) { fill(); }

    bool atEnd() const { return rest_.empty() && ended_; }

    /// Also sees to it that what follows is there in one piece, unless it is longer than any plain
    /// element: what is cut short is not plain.
    void skipSpace() {
        if (rest_.size() < kLongestElement && !ended_)
            fill();
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

    // What is taken stays valid until the next skipSpace.

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

    static constexpr std::size_t kWindow = std::size_t{1} << 18;
    static constexpr std::size_t kLongestElement = std::size_t{1} << 14;

    void fill() {
        std::copy(rest_.begin(), rest_.end(), window_.begin());
        std::size_t size = rest_.size();
        while (size < window_.size() && !ended_) {
            const std::size_t count = source_(window_.data() + size, window_.size() - size);
            ended_ = count == 0;
            size += count;
        }
        rest_ = std::string_view(window_.data(), size);
    }

    const ByteSource& source_;
    std::vector<char> window_;
    std::string_view rest_; ///< of what is in the window
    bool ended_ = false;
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
    return parsePlainXml([rest = bytes](char* to, std::size_t room) mutable {
        const std::size_t count = rest.copy(to, room);
        rest.remove_prefix(count);
        return count;
    });
}

std::optional<TextArrays> parsePlainXml(const ByteSource& source) {
    Scanner scanner(source);
    TextArraysMaker lists;
    if (!takeProlog(scanner))
        return std::nullopt;
    for (;;) {
        scanner.skipSpace();
        if (!scanner.take("<key>"))
            break;
        const auto taken = scanner.takeText("</key>");
        if (!taken)
            return std::nullopt;
        const std::string key(*taken); // the window moves on
        scanner.skipSpace();
        auto texts = takeArray(scanner);
        if (!texts)
            return std::nullopt;
        lists.add(key, std::move(*texts));
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
