// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/kernel/KernelJournal.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fmt/format.h>
#include <systemd/sd-journal.h>

namespace brindle::tallyd {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kBatchRecords = 1024;
/// Where the journal cannot tell of news (network file systems) it is looked at so often.
constexpr auto kLookTime = 1000ms;
constexpr std::string_view kPlaceStart = "journal1 ";

/// A field's value of the present entry, while that stays.
std::string_view fieldOf(sd_journal* journal, const char* name) {
    const void* data = nullptr;
    std::size_t length = 0;
    if (sd_journal_get_data(journal, name, &data, &length) < 0)
        return {};
    const std::string_view field(static_cast<const char*>(data), length);
    return field.substr(std::min(std::strlen(name) + 1, length));
}

std::string cursorOf(sd_journal* journal) {
    char* cursor = nullptr;
    if (sd_journal_get_cursor(journal, &cursor) < 0)
        return {};
    const std::unique_ptr<char, decltype(&std::free)> freed(cursor, &std::free);
    return cursor;
}

} // namespace

void KernelJournal::Close::operator()(sd_journal* journal) const {
    sd_journal_close(journal);
}

KernelJournal::KernelJournal(OpenJournal openJournal, ActionPatterns patterns)
    : openJournal_(std::move(openJournal)),
      decoder_(makeLineDecoder(LineKind::netfilter, std::move(patterns))) {}

std::unique_ptr<KernelJournal> KernelJournal::ofThisMachine(ActionPatterns patterns) {
    return std::make_unique<KernelJournal>(
        [](sd_journal** journal) {
            return sd_journal_open(journal, SD_JOURNAL_LOCAL_ONLY | SD_JOURNAL_SYSTEM);
        },
        std::move(patterns));
}

KernelJournal::~KernelJournal() = default;

tl::expected<void, std::string> KernelJournal::open() {
    journal_.reset();
    sd_journal* journal = nullptr;
    if (const int error = openJournal_(&journal); error < 0)
        return tl::unexpected(failure(error));
    journal_.reset(journal);
    // Files that may not be read are passed over as if they were not there.
    std::uint64_t bytes = 0;
    if (sd_journal_get_usage(journal, &bytes) >= 0 && bytes == 0) {
        journal_.reset();
        return tl::unexpected(std::string("there is no journal, or none that may be read"));
    }
    int error = sd_journal_add_match(journal, "_TRANSPORT=kernel", 0);
    if (error >= 0)
        error = sd_journal_get_fd(journal);
    if (error < 0)
        return tl::unexpected(failure(error));
    return {};
}

std::string KernelJournal::read(SourceFeed& feed) {
    if (const int error = seekPlace(feed); error < 0)
        return failure(error);
    sd_journal* const journal = journal_.get();
    for (;;) {
        const int found = sd_journal_next(journal);
        if (found > 0) {
            if (!isReadAlready())
                take();
            if (records_.size() < kBatchRecords && !feed.stop().isSet())
                continue;
        }
        handOn(feed);
        if (feed.stop().isSet()) {
            keeper_.finish(feed);
            return {};
        }
        if (found < 0)
            return failure(found);
        if (found > 0)
            continue;
        feed.stop().waitFor(sd_journal_get_fd(journal), kLookTime);
        if (const int error = sd_journal_process(journal); error < 0)
            return failure(error);
    }
}

/// To what follows the place of an earlier run; where that was rotated away, to what is nearest.
int KernelJournal::seekPlace(const SourceFeed& feed) {
    const std::string& place = keeper_.place(feed);
    lastCursor_.clear();
    if (place.starts_with(kPlaceStart)) {
        lastCursor_ = place.substr(kPlaceStart.size());
        if (sd_journal_seek_cursor(journal_.get(), lastCursor_.c_str()) >= 0)
            return 0;
        lastCursor_.clear();
    }
    return sd_journal_seek_head(journal_.get());
}

bool KernelJournal::isReadAlready() {
    const std::string cursor = std::exchange(lastCursor_, {});
    return !cursor.empty() && sd_journal_test_cursor(journal_.get(), cursor.c_str()) > 0;
}

void KernelJournal::take() {
    sd_journal* const journal = journal_.get();
    place_ = cursorOf(journal);
    std::uint64_t micros = 0;
    sd_journal_get_realtime_usec(journal, &micros);
    auto record = decoder_->decode(fieldOf(journal, "MESSAGE"),
                                   presentLineClock(static_cast<std::int64_t>(micros)));
    if (!record)
        return;
    if (*record)
        records_.push_back(std::move(**record));
    else
        ++undecoded_[record->error()];
}

void KernelJournal::handOn(SourceFeed& feed) {
    for (const auto& [reason, count] : undecoded_)
        feed.countLost(reason, count);
    undecoded_.clear();
    if (!place_.empty())
        keeper_.handOn(feed, std::exchange(records_, {}), fmt::format("{}{}", kPlaceStart, place_));
}

std::string KernelJournal::failure(int error) {
    journal_.reset();
    return fmt::format("the journal: {}", std::strerror(-error));
}

} // namespace brindle::tallyd
