// SPDX-License-Identifier: BSD-2-Clause
//
// A tallyd under way that takes records in all the time, and clients that do not behave: they send
// what a real client once sent, whole or spoilt, and read or do not. Tests only; one thread beside
// the one that writes the log.
#pragma once

#include "platform/connection/UnixSocket.h"
#include "tests/protocol/FakeDaemon.h"
#include "tests/tallyd/program/StartedProgram.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>

namespace brindle::tallyd {

/// A sanitizer keeps what was freed, to see it used again, and takes ten times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

/// Appends lines to a log, some thousands a second, until it goes.
class LogWriter {
  public:
    explicit LogWriter(const std::string& path) : log_(path), thread_([this] { run(); }) {}
    ~LogWriter() { stop(); }

    /// The number of lines written.
    std::uint64_t stop() {
        stopping_ = true;
        if (thread_.joinable())
            thread_.join();
        return lines_;
    }

  private:
    void run() {
        while (!stopping_) {
            for (std::uint64_t i = 0; i < 50; ++i)
                log_ << "2023-11-14T22:13:20.000000+00:00 fw kernel: [DROP] IN=eth0 OUT= "
                     << "SRC=192.0.2." << (lines_ + i) % 250
                     << " DST=198.51.100.7 LEN=60 PROTO=TCP "
                     << "SPT=40000 DPT=443\n";
            lines_ += 50;
            log_.flush();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    std::ofstream log_;
    std::uint64_t lines_ = 0; ///< of the thread, while it runs
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

/// A connection without a protocol.
class RawClient {
  public:
    explicit RawClient(const std::string& path) {
        for (int i = 0; i < 2000 && !socket_.isOpen(); ++i) {
            if (auto socket = platform::connectUnix(path))
                socket_ = std::move(*socket);
            else
                ::usleep(1000); // the daemon's queue is full
        }
        EXPECT_TRUE(socket_.isOpen());
    }

    /// The number of bytes that the daemon took, giving it so long each time.
    std::size_t send(std::string_view bytes, int milliseconds = 200) const {
        std::size_t sent = 0;
        pollfd waiting{socket_.get(), POLLOUT, 0};
        while (sent < bytes.size() && ::poll(&waiting, 1, milliseconds) == 1) {
            const auto count = ::send(socket_.get(), bytes.data() + sent, bytes.size() - sent,
                                      MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count <= 0)
                break;
            sent += static_cast<std::size_t>(count);
        }
        return sent;
    }
    void endSending() const { ::shutdown(socket_.get(), SHUT_WR); }
    /// Reads all that comes; whether the daemon closed the connection.
    bool isClosed(int milliseconds = 10000) const {
        char buffer[65536];
        pollfd waiting{socket_.get(), POLLIN, 0};
        while (::poll(&waiting, 1, milliseconds) == 1)
            if (::recv(socket_.get(), buffer, sizeof buffer, MSG_DONTWAIT) <= 0)
                return true;
        return false;
    }

    int descriptor() const { return socket_.get(); }

  private:
    platform::FileDescriptor socket_;
};

/// The bytes that a client sends to ask for so many times everything, without waiting for answers.
inline std::string askingForEverything(int times) {
    const auto [daemonEnd, clientEnd] = test::socketPair();
    std::string bytes;
    {
        test::Client client([end = clientEnd]() -> tl::expected<int, std::string> { return end; });
        const auto proxy = client.proxy();
        for (int i = 0; i < times; ++i) {
            proxy->startSendingLog();
            proxy->doQueryFromEpochFrom(0, 1e12, {[](auto) {}, [] {}});
            for (const char* obj : {"SRCIP", "DSTIP", "DSTPORT"})
                proxy->getOBJcontWithEpoch(0, "block", "in", obj, [](auto) {});
            proxy->getPORTfromIPcontWithEpoch(0, "192.0.2.1", "block", "in", [](auto) {});
            proxy->getIPfromPORTcontWithEpoch(0, 443, "block", "in", [](auto) {});
            proxy->getRowsCountWithReply([](auto) {});
            proxy->getOldestRecordDateWithReply([](auto) {});
            proxy->getStatusWithReply([](auto) {});
        }
        char buffer[65536];
        pollfd waiting{daemonEnd, POLLIN, 0};
        while (::poll(&waiting, 1, 300) == 1) {
            const auto count = ::read(daemonEnd, buffer, sizeof buffer);
            if (count <= 0)
                break;
            bytes.append(buffer, static_cast<std::size_t>(count));
        }
        ::close(daemonEnd);
    }
    return bytes;
}

class BesiegedDaemon : public StoreTest {
  protected:
    using Clock = std::chrono::steady_clock;
    static constexpr int kPatience = 3000; ///< hundredths of a second

    BesiegedDaemon()
        : daemon(stayingSelf({"serve", "--store", path, "--socket", socket, "--source",
                              "netfilter:" + folder.file("log")}),
                 folder.file("complaints")) {
        EXPECT_EQ(daemon.line(), "ready\n");
        client_.emplace(connector());
        // An answer tells something from the first record on.
        for (int i = 0; i < kPatience && status(bystander()).received == 0; ++i)
            ::usleep(10000);
    }

    Connector connector() const {
        return [path = socket]() -> tl::expected<int, std::string> {
            auto connected = platform::connectUnix(path);
            if (!connected)
                return tl::unexpected(connected.error());
            return connected->release();
        };
    }
    test::Client& bystander() { return *client_; }
    DaemonStatus status(test::Client& client) const {
        // However slow the machine is: nobody's patience but the test's ends here.
        auto answers = std::make_shared<test::Inbox<DaemonStatus>>();
        client.proxy()->getStatusWithReply(
            [answers](const DaemonStatus& given) { answers->put(given); });
        const auto given = answers->waitFor(1);
        EXPECT_THAT(client.errors.now(), testing::IsEmpty());
        EXPECT_EQ(given.size(), 1u) << "no answer";
        return given.empty() ? DaemonStatus() : given.front();
    }
    /// Somebody else who asks now has an answer.
    void expectAnswers() {
        const auto began = Clock::now();
        EXPECT_GT(status(bystander()).received, 0u);
        longestAnswer = std::max(longestAnswer, Clock::now() - began);
    }
    /// Every line that was written is stored soon after, and none is lost.
    void expectAllStored() {
        const std::uint64_t written = writer->stop();
        DaemonStatus now;
        for (int i = 0; i < kPatience && now.stored < written; ++i) {
            ::usleep(10000);
            now = status(bystander());
        }
        EXPECT_EQ(now.stored, written);
        EXPECT_EQ(now.received, written);
        EXPECT_TRUE(now.lost.empty());
    }

    std::size_t descriptors() const {
        const std::filesystem::directory_iterator all("/proc/" + std::to_string(daemon.pid()) +
                                                      "/fd");
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }
    /// The bystander is the only client left.
    void waitForQuiet() {
        for (int i = 0; i < kPatience && status(bystander()).clients > 1; ++i)
            ::usleep(10000);
        EXPECT_EQ(status(bystander()).clients, 1u);
    }
    std::size_t memoryKilobytes() const {
        std::ifstream file("/proc/" + std::to_string(daemon.pid()) + "/status");
        for (std::string line; std::getline(file, line);)
            if (line.starts_with("VmRSS:"))
                return std::stoul(line.substr(6));
        return 0;
    }

    const std::string socket = folder.file("socket");
    std::optional<LogWriter> writer{std::in_place, folder.file("log")};
    Program daemon;
    Clock::duration longestAnswer{};

  private:
    std::optional<test::Client> client_; ///< once the daemon is ready
};

} // namespace brindle::tallyd
