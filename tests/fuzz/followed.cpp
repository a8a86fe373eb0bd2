// SPDX-License-Identifier: BSD-2-Clause
//
// A file that is followed while it grows, of either kind, and the stored place in it: a byte for
// the kind, the place up to a line feed, then the file. It comes in two pieces, and again as a
// whole: what is read must not depend on when it was written, but for NUL characters before a line.
#include "tallyd/sources/follow/FollowedContent.h"
#include "tests/fuzz/Target.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace {

using namespace brindle;
using namespace brindle::tallyd;

std::unique_ptr<FollowedContent> contentOf(std::uint8_t kind) {
    switch (kind % 4) {
    case 0:
        return logContent(LineKind::netfilter);
    case 1:
        return logContent(LineKind::filterlog);
    case 2:
        return captureContent(CaptureKind::pflog);
    default:
        return captureContent(CaptureKind::nflog);
    }
}

/// Reads what there is by now. False when the file is damaged or of another kind.
bool readOn(FileFollower& follower, FollowedContent& content, std::string& read) {
    for (;;) {
        const auto found = follower.next();
        if (!found)
            return false;
        if (found->text.empty())
            return true;
        const auto decoded = content.decode(*found, follower);
        if (!decoded)
            return false;
        std::ranges::copy_if(found->text, std::back_inserter(read), [](char c) { return c != 0; });
        for (const PacketRecord& record : decoded->records)
            test::require(record.src.isValid() && record.dst.isValid());
    }
}

struct Whole {
    std::string read;
    bool isFine = false;
};

Whole readInPieces(const std::uint8_t* data, std::size_t size, std::size_t firstPiece,
                   std::uint8_t kind) {
    const auto content = contentOf(kind);
    test::MemoryFile file(data, firstPiece);
    FileFollower follower(file.path(), content->framing());
    test::require(follower.open(std::nullopt).has_value());
    Whole whole;
    whole.isFine = readOn(follower, *content, whole.read);
    if (!whole.isFine)
        return whole;
    file.append(data + firstPiece, size - firstPiece);
    whole.isFine = readOn(follower, *content, whole.read);
    // A later run goes on from here: the place is found again, and nothing is left to read.
    if (const auto& position = follower.position(); position && whole.isFine) {
        const auto stored = FilePosition::parse(position->text());
        test::require(stored == *position);
        FileFollower later(file.path(), content->framing());
        test::require(later.open(stored) == FileFollower::Beginning::atPosition);
        std::string more;
        readOn(later, *content, more);
        test::require(more.empty());
    }
    return whole;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string_view text = test::textOf(data + 1, size - 1);
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (const auto position = FilePosition::parse(text.substr(0, end)))
        test::require(FilePosition::parse(position->text()) == position);

    const std::size_t begin = 1 + std::min(end + 1, text.size());
    const std::size_t length = size - begin;
    const Whole inPieces = readInPieces(data + begin, length, length / 2, data[0]);
    const Whole atOnce = readInPieces(data + begin, length, length, data[0]);
    test::require(atOnce.isFine == inPieces.isFine && atOnce.read == inPieces.read);
    return 0;
}
