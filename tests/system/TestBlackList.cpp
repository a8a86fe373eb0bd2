// SPDX-License-Identifier: BSD-2-Clause
//
// From a packet to its sender being blocked: real rules and packets in a network of the test's own,
// the installed layout of the companion and the viewer, real keys on a display and a session bus of
// the test's own. Needs root; skipped elsewhere.
#include "tests/system/Workshop.h"
#include "tests/tallyd/sources/capture/NetworkNamespace.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>

#include <netinet/ip.h>
#include <netinet/udp.h>

namespace brindle::test {
namespace {

using nlohmann::json;

/// Somebody who is not this machine, and nobody's address outside of it.
constexpr const char* kSender = "203.0.113.9";
constexpr const char* kSiteRule = "site drop:";
constexpr const char* kVardexRule = "vardex drop:";

bool until(const std::function<bool()>& holds,
           std::chrono::seconds patience = std::chrono::seconds(15)) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        ::usleep(20'000);
    }
    return true;
}

/// UDP packets from kSender to a port of this machine.
bool sendFromElsewhere(int port, int count) {
    struct {
        iphdr ip;
        udphdr udp;
    } packet{};
    packet.ip.version = 4;
    packet.ip.ihl = sizeof packet.ip / 4;
    packet.ip.ttl = 64;
    packet.ip.protocol = IPPROTO_UDP;
    packet.ip.saddr = ::inet_addr(kSender);
    packet.ip.daddr = ::inet_addr("127.0.0.1");
    packet.udp.source = htons(40000);
    packet.udp.dest = htons(static_cast<std::uint16_t>(port));
    packet.udp.len = htons(sizeof packet.udp);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = packet.ip.daddr;
    // The kernel fills in the checksum and the length of the outer header.
    const int socket = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_RAW);
    int sent = 0;
    while (sent<count&& ::sendto(socket, &packet, sizeof packet, 0,
                                 reinterpret_cast<sockaddr*>(&to), sizeof to)> 0)
        ++sent;
    ::close(socket);
    return sent == count;
}

class BlackList : public Workshop {
  protected:
    void SetUp() override {
        for (const char* program : {"vardex", "vardex-apply", "brindle"})
            if (!std::filesystem::exists(kPrograms + "/" + program))
                GTEST_SKIP() << program << " is not built";
        if (::system("command -v Xvfb openbox dbus-daemon dbus-monitor xdotool >/dev/null") != 0)
            GTEST_SKIP() << "Xvfb, openbox, dbus-daemon, dbus-monitor or xdotool is not installed";
        if (::geteuid() != 0)
            GTEST_SKIP() << "the packet filter is root's";
        if (!network.missing().empty())
            GTEST_SKIP() << network.missing();
        if (!NetworkNamespace::run(
                "nft 'add chain inet t i { type filter hook input priority filter; }'") ||
            !NetworkNamespace::run(
                "nft 'add rule inet t i udp dport 9907 log prefix \"site drop: \" group 5 drop'"))
            GTEST_SKIP() << "the kernel has no NFLOG";
    }

    void TearDown() override {
        if (display) {
            display->signal(SIGTERM); // it takes its lock and its socket away
            display->finish();
        }
    }

    /// Display, window manager, session bus, and the programs as they are installed.
    void startDesktop() {
        display = std::make_unique<Process>(std::vector<std::string>{
            "Xvfb", "-displayfd", "1", "-screen", "0", "1600x1200x24", "-nolisten", "tcp"});
        bus = std::make_unique<Process>(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"});
        const auto number = display->line();
        const auto address = bus->line();
        ASSERT_TRUE(number && address);
        environment = {"env",
                       "DISPLAY=:" + *number,
                       "DBUS_SESSION_BUS_ADDRESS=" + *address,
                       "QT_QPA_PLATFORM=xcb",
                       "TALLYD_SOCKET=" + socket(),
                       "HOME=" + folder_,
                       "XDG_CONFIG_HOME=" + path("config"),
                       "XDG_DATA_HOME=" + path("data"),
                       "BRINDLE_PICTURES=" + folder_};
        windowManager = start({"openbox"});

        const std::filesystem::path app = path("vardex");
        std::filesystem::create_directories(app / "contents/companions/brindle");
        for (const auto& [program, place] :
             {std::pair("brindle", "contents/companions/brindle/brindle"),
              std::pair("vardex", "vardex"), std::pair("vardex-apply", "vardex-apply")})
            std::filesystem::copy_file(kPrograms + "/" + program, app / place);
    }

    std::unique_ptr<Process> start(std::vector<std::string> words) const {
        words.insert(words.begin(), environment.begin(), environment.end());
        return std::make_unique<Process>(words);
    }
    /// Keys in the window of that title until they did their work: a window that comes up at that
    /// moment can take them.
    void press(const std::string& title, const std::vector<std::string>& keys,
               const std::function<bool()>& isDone) const {
        std::vector<std::string> words{
            "timeout",        "15",      "xdotool", "search", "--sync",
            "--onlyvisible",  "--limit", "1",       "--name", "^" + title + "$",
            "windowactivate", "--sync",  "key"};
        words.insert(words.end(), keys.begin(), keys.end());
        for (int tries = 0; tries < 5; ++tries) {
            EXPECT_EQ(start(words)->finish().exitCode, 0) << title;
            if (until(isDone, std::chrono::seconds(3)))
                return;
        }
        FAIL() << title << ": the keys had no effect";
    }
    bool isShown(const std::string& picture) const {
        return std::filesystem::exists(path(picture));
    }
    /// Stored records by rule; each of them inbound, blocked, and from kSender.
    std::map<std::string, int> byRule() const {
        std::map<std::string, int> counts;
        for (const json& record : records()) {
            EXPECT_EQ(record.at("action"), "block") << record;
            EXPECT_EQ(record.at("direction"), "in") << record;
            EXPECT_EQ(record.at("srcip"), kSender) << record;
            ++counts[record.at("rule")];
        }
        return counts;
    }
    static std::string blockedAddresses() {
        return run({"nft", "list", "set", "inet", "vardex", "blacklist4"}).output;
    }

    NetworkNamespace network;
    std::vector<std::string> environment;
    std::unique_ptr<Process> display;
    std::unique_ptr<Process> bus;
    std::unique_ptr<Process> windowManager;
};

TEST_F(BlackList, WhoIsBlackListedInTheViewerIsDroppedByThePacketFilter) {
    serve({"nflog:5"});
    ASSERT_TRUE(sendFromElsewhere(9907, 20)) << "no packet can be sent in another's name";
    ASSERT_TRUE(until([&] { return ask({"rows"}).output == "20\n"; }));
    const json counted =
        json::parse(ask({"count", "--epoch", "0", "--action", "block", "--direction", "in", "--obj",
                         "SRCIP", "--format", "jsonl"})
                        .output);
    EXPECT_EQ(counted.at("label"), kSender);
    EXPECT_EQ(blockedAddresses(), "");

    ASSERT_NO_FATAL_FAILURE(startDesktop());
    const auto monitor = start({"dbus-monitor", "--session",
                                "type='signal',interface='org.vardex.DistributedNotification'"});
    const auto vardex = start({path("vardex/vardex"), "doNotShowMainWindowOnStartup"});

    // What the list window sends shows what it lists.
    ASSERT_TRUE(until([&] { return isShown("logs.png"); })) << "no rows in the logs window";
    press("PF Realtime Log", {"alt+2"}, [&] { return isShown("blockin.png"); });
    std::string heard;
    const auto sentFromList = [&] {
        if (const auto line = monitor->line(std::chrono::seconds(1)))
            heard += *line + '\n';
        return heard.find(std::string("string \"") + kSender) != heard.npos;
    };
    press("Blocked Inbound", {"ctrl+a", "ctrl+b"}, sentFromList);
    EXPECT_NE(heard.find("member=sendAddressesToVardex"), heard.npos) << heard;
    EXPECT_EQ(blockedAddresses(), "") << "to send is not to block";

    const auto isBlocked = [] { return blockedAddresses().find(kSender) != std::string::npos; };
    press("PF Realtime Log", {"ctrl+a", "ctrl+b"}, isBlocked);
    ASSERT_FALSE(HasFailure());

    ASSERT_TRUE(sendFromElsewhere(9907, 10));
    ASSERT_TRUE(until([&] { return ask({"rows"}).output == "30\n"; }));
    EXPECT_EQ(byRule(), (std::map<std::string, int>{{kSiteRule, 20}, {kVardexRule, 10}}));

    vardex->signal(SIGTERM);
    EXPECT_EQ(vardex->finish().exitCode, 0);
    EXPECT_TRUE(isBlocked()) << "the block outlives the companion";
}

} // namespace
} // namespace brindle::test
