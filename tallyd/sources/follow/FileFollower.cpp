// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/follow/FileFollower.h"

#include "tallyd/sources/follow/RotatedFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fmt/format.h>
#include <sys/stat.h>

namespace brindle::tallyd {

namespace {
/// Read at a time; a line or packet that does not fit is none of a packet filter's.
constexpr std::size_t kBufferBytes = 512 * 1024;
} // namespace

FileFollower::FileFollower(std::string path, std::unique_ptr<Framing> framing)
    : path_(std::move(path)), framing_(std::move(framing)), buffer_(kBufferBytes) {}

tl::expected<FileFollower::Beginning, std::string>
FileFollower::open(const std::optional<FilePosition>& position) {
    places_.clear();
    framing_->forget();
    told_.reset();
    auto present = LogFile::open(path_);
    if (!present)
        return tl::unexpected(present.error());
    std::uint64_t offset = 0;
    if (position) {
        const bool isHere = isAt(*present, *position);
        const bool isTheFile = isHere && present->inode() == position->inode;
        auto former = isTheFile ? std::nullopt : findCopy(*position, &*present);
        // Files may be alike; then their number decides.
        if (former && (!isHere || former->file.inode() == position->inode)) {
            places_.push_back(std::move(*former));
            appendSuccessors(places_.front().file);
        } else if (isHere) {
            offset = position->offset;
        }
    }
    // As in findNewFile(): an empty one has no writer yet.
    if (places_.empty() || present->state().size > 0)
        append(std::move(*present), offset);
    enterFirst();
    problem_.clear();
    return told_ ? Beginning::atPosition : Beginning::atStart;
}

/// Whether reading stood at this place in this file: what was read tells, more surely than the
/// file's number.
bool FileFollower::isAt(const LogFile& file, const FilePosition& position) const {
    return file.state().size >= position.offset &&
           file.fingerprint(position.offset) == position.fingerprint;
}

std::optional<FileFollower::Place> FileFollower::findCopy(const FilePosition& position,
                                                          const LogFile* besides) const {
    std::optional<Place> copy;
    for (RotatedFile& former : rotatedFiles(path_)) {
        if ((besides && former.file.isSameAs(*besides)) || !isAt(former.file, position))
            continue;
        const bool isTheFile = former.file.inode() == position.inode;
        copy = Place{std::move(former.file), position.offset};
        if (isTheFile)
            break;
    }
    return copy;
}

/// What was the log after `file` was and before the present one is.
void FileFollower::appendSuccessors(const LogFile& file) {
    std::vector<RotatedFile> formers = rotatedFiles(path_);
    const auto itself =
        std::find_if(formers.begin(), formers.end(),
                     [&](const RotatedFile& former) { return former.file.isSameAs(file); });
    if (itself == formers.end())
        return;
    for (auto former = itself + 1; former != formers.end(); ++former)
        if (itself->isBefore(*former))
            append(std::move(former->file), 0);
}

/// A file that was rotated at this moment may have been found by two names.
void FileFollower::append(LogFile file, std::uint64_t offset) {
    const bool isThere = std::any_of(places_.begin(), places_.end(),
                                     [&](const Place& place) { return place.file.isSameAs(file); });
    if (!isThere)
        places_.push_back({std::move(file), offset});
}

tl::expected<FollowedText, std::string> FileFollower::next() {
    FollowedText found;
    for (;;) {
        const auto read = readParts(found);
        if (!read)
            return tl::unexpected(read.error());
        if (*read)
            break;
        if (places_.size() > 1)
            finishFile(found);
        else if (!findNewFile())
            break;
    }
    found.changedMicros = checked_.changedNanos / 1000;
    return found;
}

/// False at the end of what the file has in whole.
tl::expected<bool, std::string> FileFollower::readParts(FollowedText& found) {
    for (;;) {
        const LogFile& file = places_.front().file;
        const LogFile::State state = file.state();
        if (wasReplaced(state)) {
            beginAgain();
            continue;
        }
        checked_ = state;
        if (state.size <= position_.offset)
            return false;
        const auto count = file.read(position_.offset, buffer_.data(), buffer_.size());
        if (!count)
            return tl::unexpected(fmt::format("{}: {}", path_, std::strerror(errno)));
        if (*count == 0)
            return false;
        const Frames frames = framing_->find({buffer_.data(), *count}, position_.offset,
                                             *count == buffer_.size() ? Framing::Buffer::full
                                                                      : Framing::Buffer::hasRoom);
        found.tooLong += frames.tooLong;
        if (frames.isDamaged)
            return tl::unexpected(
                fmt::format("{}: damaged at byte {}", path_, position_.offset + frames.passed));
        if (frames.passed + frames.length == 0)
            return false;
        moveTo(position_.offset + frames.passed + frames.length);
        if (frames.length == 0)
            continue;
        found.text = {buffer_.data() + frames.passed, frames.length};
        return true;
    }
}

/// Whether what was read is gone from the file: it was truncated, and perhaps written again.
bool FileFollower::wasReplaced(const LogFile::State& state) {
    if (state == checked_)
        return false;
    return state.size < position_.offset ||
           places_.front().file.fingerprint(position_.offset) != position_.fingerprint;
}

void FileFollower::beginAgain() {
    framing_->forget();
    Place file = std::move(places_.front());
    places_.pop_front();
    file.offset = 0;
    // What came between our last look and the truncation is in the copy that was made before it.
    std::optional<Place> copy;
    if (places_.empty() && position_.offset > 0)
        copy = findCopy(position_, &file.file);
    if (copy) {
        places_.push_front(std::move(*copy));
        appendSuccessors(places_.front().file);
        append(std::move(file.file), 0);
    } else {
        places_.push_front(std::move(file));
    }
    enterFirst();
}

void FileFollower::finishFile(FollowedText& found) {
    if (!framing_->forget() && places_.front().file.state().size > position_.offset)
        ++found.cutShort;
    places_.pop_front();
    enterFirst();
}

/// Whether the path names another file that is being written by now. Until it is, the writer has
/// not moved there and goes on in the old one, whatever that is called.
bool FileFollower::findNewFile() {
    const LogFile& file = places_.front().file;
    struct stat status {};
    if (::stat(path_.c_str(), &status) != 0) {
        problem_ = fmt::format("{}: {}", path_, std::strerror(errno));
        return false;
    }
    const bool isSame = status.st_dev == file.device() && status.st_ino == file.inode();
    if (isSame || status.st_size == 0) {
        problem_.clear();
        return false;
    }
    auto present = LogFile::open(path_);
    if (!present) {
        problem_ = present.error();
        return false;
    }
    problem_.clear();
    appendSuccessors(file);
    append(std::move(*present), 0);
    return true;
}

std::size_t FileFollower::readStart(char* buffer, std::size_t size) const {
    return places_.front().file.read(0, buffer, size).value_or(0);
}

void FileFollower::moveTo(std::uint64_t offset) {
    position_ = places_.front().file.position(offset);
    if (offset > 0)
        told_ = position_;
}

void FileFollower::enterFirst() {
    checked_ = {};
    moveTo(places_.front().offset);
}

} // namespace brindle::tallyd
