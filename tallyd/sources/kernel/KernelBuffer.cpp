// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/kernel/KernelBuffer.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <fstream>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

namespace brindle::tallyd {

namespace {

using namespace std::chrono_literals;

/// No message is longer, says the kernel.
constexpr std::size_t kMessageBytes = 8192;
/// A thousand years: no machine's, and far from where times in microseconds end.
constexpr std::int64_t kLongestUptime = std::int64_t{1000} * 366 * 86'400 * 1'000'000;
constexpr std::size_t kBatchRecords = 1024;
/// How long it takes at most until a place behind messages without records is stored.
constexpr auto kQuietTime = 2000ms;

template <typename Number>
bool takeNumber(std::string_view& rest, char end, Number& number) {
    const auto [after, problem] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    const auto length = static_cast<std::size_t>(after - rest.data());
    if (problem != std::errc() || length == rest.size() || rest[length] != end)
        return false;
    rest.remove_prefix(length + 1);
    return true;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

/// The device writes what is no plain text, and the backslash, as \xNN.
std::string unescaped(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    while (!text.empty()) {
        const int high = text.size() >= 4 && text.starts_with("\\x") ? hexDigit(text[2]) : -1;
        const int low = high >= 0 ? hexDigit(text[3]) : -1;
        plain += low >= 0 ? static_cast<char>(high * 16 + low) : text.front();
        text.remove_prefix(low >= 0 ? 4 : 1);
    }
    return plain;
}

std::string bootIdOfThisMachine() {
    std::string id;
    std::ifstream("/proc/sys/kernel/random/boot_id") >> id;
    return id;
}

} // namespace

std::optional<KernelMessage> KernelMessage::parse(std::string_view record) {
    KernelMessage message;
    unsigned priority = 0;
    if (!takeNumber(record, ',', priority) || !takeNumber(record, ',', message.sequence) ||
        !takeNumber(record, ',', message.uptimeMicros) || message.uptimeMicros < 0 ||
        message.uptimeMicros > kLongestUptime)
        return std::nullopt;
    const std::size_t text = record.find(';');
    if (text == record.npos)
        return std::nullopt;
    record.remove_prefix(text + 1);
    message.isOfKernel = priority >> 3 == 0;
    message.text = unescaped(record.substr(0, record.find('\n')));
    return message;
}

KernelBuffer::KernelBuffer(OpenDevice openDevice, std::string bootId, ActionPatterns patterns)
    : openDevice_(std::move(openDevice)), bootId_(std::move(bootId)),
      decoder_(makeLineDecoder(LineKind::netfilter, std::move(patterns))), buffer_(kMessageBytes) {}

std::unique_ptr<KernelBuffer> KernelBuffer::ofThisMachine(ActionPatterns patterns) {
    return std::make_unique<KernelBuffer>(
        [] { return ::open("/dev/kmsg", O_RDONLY | O_NONBLOCK | O_CLOEXEC); },
        bootIdOfThisMachine(), std::move(patterns));
}

KernelBuffer::~KernelBuffer() {
    close();
}

void KernelBuffer::close() {
    if (device_ >= 0)
        ::close(std::exchange(device_, -1));
}

tl::expected<void, std::string> KernelBuffer::open() {
    close();
    device_ = openDevice_();
    if (device_ < 0)
        return tl::unexpected(fmt::format("/dev/kmsg: {}", std::strerror(errno)));
    return {};
}

std::string KernelBuffer::read(SourceFeed& feed) {
    recallPlace(feed);
    // What stands in the buffer by now was written some time ago.
    clockOffset_.reset();
    isFresh_ = false;
    for (;;) {
        const Outcome outcome = readOne();
        if (outcome == Outcome::record) {
            if (auto message = KernelMessage::parse({buffer_.data(), length_}))
                take(std::move(*message), feed);
            if (records_.size() < kBatchRecords && !feed.stop().isSet())
                continue;
        }
        const int error = errno;
        const bool hadRecords = !records_.empty();
        handOn(feed);
        if (feed.stop().isSet()) {
            keeper_.finish(feed);
            return {};
        }
        if (outcome == Outcome::failure) {
            close();
            return fmt::format("/dev/kmsg: {}", std::strerror(error));
        }
        // The sink may have kept us: what came meanwhile is not fresh.
        if (outcome == Outcome::none && !hadRecords)
            isFresh_ = feed.stop().waitFor(device_, kQuietTime) == StopEvent::Woken::ready;
    }
}

void KernelBuffer::recallPlace(const SourceFeed& feed) {
    std::string_view place = keeper_.place(feed);
    const std::string start = fmt::format("kmsg1 {} ", bootId_);
    std::uint64_t last = 0;
    if (!place.starts_with(start))
        return;
    place.remove_prefix(start.size());
    const auto [end, problem] = std::from_chars(place.data(), place.data() + place.size(), last);
    if (problem == std::errc() && end == place.data() + place.size())
        next_ = last + 1;
}

std::string KernelBuffer::place() const {
    return next_ ? fmt::format("kmsg1 {} {}", bootId_, *next_ - 1) : std::string();
}

KernelBuffer::Outcome KernelBuffer::readOne() {
    for (;;) {
        const ssize_t count = ::read(device_, buffer_.data(), buffer_.size());
        if (count > 0) {
            length_ = static_cast<std::size_t>(count);
            return Outcome::record;
        }
        // Overwritten before it was read, or of no use: the next one's number tells how many.
        if (count < 0 && (errno == EPIPE || errno == EINVAL || errno == EINTR))
            continue;
        return count < 0 && errno == EAGAIN ? Outcome::none : Outcome::failure;
    }
}

void KernelBuffer::take(KernelMessage message, SourceFeed& feed) {
    if (next_ && message.sequence < *next_)
        return; // an earlier run's
    if (next_)
        feed.countLost("overwritten in the kernel's buffer", message.sequence - *next_);
    next_ = message.sequence + 1;
    const std::int64_t micros = timeOf(message);
    if (!message.isOfKernel)
        return;
    auto record = decoder_->decode(message.text, presentLineClock(micros));
    if (!record)
        return;
    if (*record)
        records_.push_back(std::move(**record));
    else
        ++undecoded_[record->error()];
}

/// The kernel's clock is nobody's: it runs on unadjusted, seconds away after days. A message that
/// was written just now tells by how much.
std::int64_t KernelBuffer::timeOf(const KernelMessage& message) {
    const LineClock now = presentLineClock(0);
    if (std::exchange(isFresh_, false))
        clockOffset_ = now.nowMicros - message.uptimeMicros;
    return std::min(message.uptimeMicros + clockOffset_.value_or(*now.bootMicros), now.nowMicros);
}

void KernelBuffer::handOn(SourceFeed& feed) {
    for (const auto& [reason, count] : undecoded_)
        feed.countLost(reason, count);
    undecoded_.clear();
    if (std::string here = place(); !here.empty())
        keeper_.handOn(feed, std::exchange(records_, {}), std::move(here));
}

} // namespace brindle::tallyd
