// SPDX-License-Identifier: BSD-2-Clause
//
// The lines of a log file, or the packets of a capture, each once, as it grows: through rotation by
// renaming (the rest of the old file before the new one), by copying and truncating, and from where
// an earlier run stopped. Knows nothing of what they say. Owned by a FollowedFile, on its thread.
//
//     FileFollower follower("/var/log/kern.log", std::make_unique<LineFraming>());
//     follower.open(storedPosition);
//     while (const auto next = follower.next()) { …next->text, follower.position()… }
#pragma once

#include "tallyd/sources/follow/Framing.h"
#include "tallyd/sources/follow/LogFile.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

struct FollowedText {
    std::string_view text;          ///< whole lines or packets; empty: nothing new for now
    std::uint64_t tooLong = 0;      ///< of them, those that were passed over
    std::uint64_t cutShort = 0;     ///< of finished files, where the last one has no end
    std::int64_t changedMicros = 0; ///< when the file was last written, since 1970
};

class FileFollower {
  public:
    FileFollower(std::string path, std::unique_ptr<Framing> framing);

    enum class Beginning { atPosition, atStart };

    /// Finds the file, and the position in it or in one of its former selves. Without one, or when
    /// it is gone, reading begins at the start of the present file. Error: why the file cannot be
    /// read.
    tl::expected<Beginning, std::string> open(const std::optional<FilePosition>& position);

    /// What comes next. The view stays until the next call. Error: the disk refuses; `open` again.
    tl::expected<FollowedText, std::string> next();

    /// The first bytes of the file that the last text is from; fewer where it has not as many.
    std::size_t readStart(char* buffer, std::size_t size) const;

    /// Where reading stands after what `next` gave: behind the last text, in a file that may be a
    /// former one by now, for of a file of which nothing was read there is nothing to know it by.
    /// Nothing before the first text.
    const std::optional<FilePosition>& position() const { return told_; }
    /// Why the path names no file that can be read now, as when it is being rotated; empty when it
    /// does.
    const std::string& problem() const { return problem_; }

  private:
    struct Place {
        LogFile file;
        std::uint64_t offset = 0;
    };

    bool isAt(const LogFile& file, const FilePosition& position) const;
    std::optional<Place> findCopy(const FilePosition& position, const LogFile* besides) const;
    void append(LogFile file, std::uint64_t offset);
    void appendSuccessors(const LogFile& file);
    bool wasReplaced(const LogFile::State& state);
    void beginAgain();
    tl::expected<bool, std::string> readParts(FollowedText& found);
    void finishFile(FollowedText& found);
    bool findNewFile();
    void enterFirst();
    void moveTo(std::uint64_t offset);

    const std::string path_;
    const std::unique_ptr<Framing> framing_;
    std::deque<Place> places_; ///< read in this order; the last is, or was, what the path names
    FilePosition position_;    ///< in the first of them
    std::optional<FilePosition> told_;
    LogFile::State checked_;  ///< of the first, when its place was last found unharmed
    bool isSkipping_ = false; ///< in the middle of a line that is too long
    std::string problem_;
    std::vector<char> buffer_;
};

} // namespace brindle::tallyd
