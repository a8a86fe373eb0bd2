// SPDX-License-Identifier: BSD-2-Clause
//
// Look-ups against a real name server on loopback; skipped where dnsmasq is not installed.
#include "platform/resolver/HostResolver.h"
#include "core/annotate/HostNameQuery.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <fstream>
#include <mutex>
#include <thread>

#include <arpa/inet.h>
#include <csignal>
#include <gtest/gtest.h>
#include <netdb.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace brindle::platform {
namespace {

using namespace std::chrono_literals;

/// The test's thread is the main thread: it runs what was submitted while it waits.
class PumpedQueue : public DispatchQueue {
  public:
    void async(Task task) override {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
        arrived_.notify_one();
    }
    void sync(Task task) override { task(); }
    const std::string& label() const override { return label_; }
    template <typename Condition>
    bool runUntil(Condition met) {
        const auto end = std::chrono::steady_clock::now() + 20s;
        while (!met()) {
            Task task;
            {
                std::unique_lock lock(mutex_);
                if (!arrived_.wait_until(lock, end, [this] { return !tasks_.empty(); }))
                    return false;
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            task();
        }
        return true;
    }

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<Task> tasks_;
    std::string label_ = "main";
};

/// A loopback UDP socket: found free, or held to be a name server that never answers.
struct UdpSocket {
    UdpSocket() {
        fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        bind(fd, reinterpret_cast<sockaddr*>(&address), length);
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
    }
    ~UdpSocket() { close(fd); }
    int received() const {
        char packet[512];
        int count = 0;
        while (recv(fd, packet, sizeof packet, MSG_DONTWAIT) > 0)
            ++count;
        return count;
    }
    int fd = -1;
    int port = 0;
};

class NameServer {
  public:
    explicit NameServer(int port) {
        const std::string portOption = "--port=" + std::to_string(port);
        const char* arguments[] = {"dnsmasq",
                                   "--keep-in-foreground",
                                   portOption.c_str(),
                                   "--listen-address=127.0.0.1",
                                   "--bind-interfaces",
                                   "--no-resolv",
                                   "--no-hosts",
                                   "--conf-file=/dev/null",
                                   "--pid-file=",
                                   "--ptr-record=7.2.0.192.in-addr.arpa,one.example",
                                   "--ptr-record=8.2.0.192.in-addr.arpa,alpha.example",
                                   "--ptr-record=8.2.0.192.in-addr.arpa,beta.example",
                                   "--host-record=six.example,2001:db8::6",
                                   "--local=/in-addr.arpa/",
                                   nullptr};
        started_ = posix_spawnp(&pid_, "dnsmasq", nullptr, nullptr, const_cast<char**>(arguments),
                                environ) == 0;
        std::this_thread::sleep_for(300ms);
        if (started_ && waitpid(pid_, nullptr, WNOHANG) == pid_)
            started_ = false;
    }
    ~NameServer() {
        if (!started_)
            return;
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    bool started() const { return started_; }

  private:
    pid_t pid_ = 0;
    bool started_ = false;
};

struct Answer {
    bool done = false;
    std::optional<StreamError> error;
    std::vector<std::string> names;
};

class HostResolverTest : public testing::Test {
  protected:
    std::unique_ptr<HostResolver> resolver(int port, std::string hostsFile = "") {
        ResolverOptions options;
        options.server = "127.0.0.1:" + std::to_string(port);
        options.hostsFile = std::move(hostsFile);
        options.timeoutMilliseconds = 300;
        options.inFlight = 8;
        return makeHostResolver(main, options).value();
    }
    std::unique_ptr<HostLookup> ask(HostResolver& r, const std::string& ip, Answer& answer) {
        return r
            .startNames(
                socketAddressData(ip).value(),
                [&answer](std::optional<StreamError> error, std::vector<std::string> names) {
                    answer = {true, error, std::move(names)};
                })
            .value();
    }
    std::shared_ptr<PumpedQueue> main = std::make_shared<PumpedQueue>();
};

TEST_F(HostResolverTest, NamesComeFromARealServer) {
    const int port = UdpSocket().port;
    const NameServer server(port);
    if (!server.started())
        GTEST_SKIP() << "dnsmasq is not installed";
    const auto r = resolver(port);
    Answer one, several, six, none;
    const auto lookups = {
        ask(*r, "192.0.2.7", one).release(), ask(*r, "192.0.2.8", several).release(),
        ask(*r, "2001:db8::6", six).release(), ask(*r, "192.0.2.9", none).release()};
    ASSERT_TRUE(main->runUntil([&] { return one.done && several.done && six.done && none.done; }));
    EXPECT_EQ(one.names, (std::vector<std::string>{"one.example"}));
    EXPECT_EQ(six.names, (std::vector<std::string>{"six.example"}));
    std::sort(several.names.begin(), several.names.end()); // the server turns them round
    EXPECT_EQ(several.names, (std::vector<std::string>{"alpha.example", "beta.example"}));
    EXPECT_EQ(none.error, (StreamError{StreamError::Domain::netDatabase, EAI_NONAME}));
    for (HostLookup* lookup : lookups)
        delete lookup;
}

TEST_F(HostResolverTest, ServerThatIsNotThereIsAnError) {
    const auto r = resolver(UdpSocket().port);
    Answer answer;
    const auto lookup = ask(*r, "192.0.2.7", answer);
    ASSERT_TRUE(main->runUntil([&] { return answer.done; }));
    EXPECT_TRUE(answer.error);
    EXPECT_TRUE(answer.names.empty());
}

TEST_F(HostResolverTest, SilentServerIsAskedABoundedNumberOfQuestionsAtOnce) {
    const UdpSocket silent;
    const auto r = resolver(silent.port);
    std::vector<Answer> answers(200);
    std::vector<std::unique_ptr<HostLookup>> lookups;
    for (std::size_t i = 0; i < answers.size(); ++i)
        lookups.push_back(ask(*r, "198.51.100." + std::to_string(i), answers[i]));
    std::this_thread::sleep_for(200ms); // before the first try has timed out
    EXPECT_LE(silent.received(), 8);
    // Those that were given up leave their place to others, and are never heard of.
    const std::size_t kept = 20;
    lookups.resize(kept);
    ASSERT_TRUE(main->runUntil([&] {
        return std::all_of(answers.begin(), answers.begin() + kept,
                           [](const Answer& answer) { return answer.done; });
    }));
    for (std::size_t i = 0; i < answers.size(); ++i)
        EXPECT_EQ(answers[i].done, i < kept) << i;
}

TEST_F(HostResolverTest, HostTableIsAskedBeforeTheServer) {
    char path[] = "/tmp/brindle-hosts-XXXXXX";
    close(mkstemp(path));
    std::ofstream(path)
        << "# table\n192.0.2.7 router.home router # ours\n0:0::1 loop\n\nbad line\n";
    const UdpSocket silent;
    const auto r = resolver(silent.port, path);
    Answer four, six;
    const auto first = ask(*r, "192.0.2.7", four);
    const auto second = ask(*r, "::1", six);
    ASSERT_TRUE(main->runUntil([&] { return four.done && six.done; }));
    EXPECT_EQ(four.names, (std::vector<std::string>{"router.home", "router"}));
    EXPECT_EQ(six.names, (std::vector<std::string>{"loop"}));
    EXPECT_EQ(silent.received(), 0);
    unlink(path);
}

TEST_F(HostResolverTest, ResolverMayGoWhileQuestionsAreOut) {
    const UdpSocket silent;
    Answer answer;
    auto r = resolver(silent.port);
    const auto lookup = ask(*r, "192.0.2.7", answer);
    r.reset();
    EXPECT_FALSE(answer.done);
}

TEST_F(HostResolverTest, WrongServerTextIsRefusedWithItsName) {
    ResolverOptions options;
    options.server = "nowhere:x";
    const auto r = makeHostResolver(main, options);
    ASSERT_FALSE(r);
    EXPECT_NE(r.error().find("\"nowhere:x\""), std::string::npos);
}

TEST_F(HostResolverTest, OnlyNumericTextHasASocketAddress) {
    for (const char* text : {"192.0.2.7", "::1", "2001:db8::1"})
        EXPECT_TRUE(socketAddressData(text)) << text;
    for (const std::string text : {"localhost", "", "192.0.2.7/24", "x"})
        EXPECT_FALSE(socketAddressData(text)) << text;
    EXPECT_FALSE(socketAddressData(std::string("::1\0x", 5)));
}

/// A query keeps itself alive while it runs, and reports to a delegate that still exists.
struct Listener : HostNameQueryDelegate {
    void didCompleteWithNames(const std::vector<std::string>& n, HostNameQuery&) override {
        names = n;
    }
    void didCompleteWithError(const HostNameError& e, HostNameQuery&) override { error = e; }
    std::vector<std::string> names;
    std::optional<HostNameError> error;
};

TEST_F(HostResolverTest, QueryTellsItsDelegateOnceAndNobodyAfterAStop) {
    char path[] = "/tmp/brindle-hosts-XXXXXX";
    close(mkstemp(path));
    std::ofstream(path) << "192.0.2.7 router.home\n";
    const UdpSocket silent;
    const auto r = resolver(silent.port, path);
    const auto listener = std::make_shared<Listener>();
    const auto query = [&](const char* ip) {
        const auto q = HostNameQuery::create(*r, socketAddressData(ip).value(), ip, "srcip");
        q->setDelegate(listener);
        return q;
    };
    std::weak_ptr<HostNameQuery> running;
    {
        const auto q = query("192.0.2.7");
        q->start();
        running = q;
    }
    EXPECT_FALSE(running.expired());
    ASSERT_TRUE(main->runUntil([&] { return running.expired(); }));
    EXPECT_EQ(listener->names, (std::vector<std::string>{"router.home"}));

    const auto stopped = query("198.51.100.1");
    stopped->start();
    EXPECT_TRUE(stopped->isRunning());
    stopped->stop(userCancelledError(), HostNameQuery::Notify::no);
    EXPECT_FALSE(stopped->isRunning());
    EXPECT_FALSE(listener->error);

    const auto told = query("198.51.100.2");
    told->start();
    told->stop(userCancelledError(), HostNameQuery::Notify::yes);
    EXPECT_EQ(listener->error, (HostNameError{"NSCocoaErrorDomain", 3072, std::nullopt}));
    unlink(path);
}

TEST(HostNameErrors, AreConvertedByDomain) {
    using Domain = StreamError::Domain;
    const std::pair<StreamError, HostNameError> cases[] = {
        {{Domain::posix, 111}, {"NSPOSIXErrorDomain", 111, std::nullopt}},
        {{Domain::osStatus, -50}, {"NSOSStatusErrorDomain", -50, std::nullopt}},
        {{Domain::netServices, -72000}, {"kCFErrorDomainCFNetwork", -72000, std::nullopt}},
        {{Domain::netDatabase, EAI_NONAME}, {"kCFErrorDomainCFNetwork", 2, EAI_NONAME}},
        {{Domain::other, 9}, {"kCFErrorDomainCFNetwork", 9, std::nullopt}}};
    for (const auto& [from, to] : cases)
        EXPECT_EQ(hostNameError(from), to) << to.domain << to.code;
}

} // namespace
} // namespace brindle::platform
