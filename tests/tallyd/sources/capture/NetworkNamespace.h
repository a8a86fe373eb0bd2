// SPDX-License-Identifier: BSD-2-Clause
//
// A network of a test's own, with the kernel's packet filter in it. What the test starts
// afterwards, threads and programs, is in it too. Tests only.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

#include <arpa/inet.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

namespace brindle::test {

class NetworkNamespace {
  public:
    /// Moves the calling thread into a new network with the loopback interface up.
    NetworkNamespace() {
        if (::system("command -v nft ip >/dev/null") != 0)
            missing_ = "nft or ip is not installed";
        else if (::unshare(CLONE_NEWNET) != 0)
            missing_ = "no right to make a network namespace";
        else if (!run("ip link set lo up") || !run("nft add table inet t") ||
                 !run("nft 'add chain inet t o { type filter hook output priority 0; }'"))
            missing_ = "the kernel has no nftables here";
    }

    /// Why there is none; empty when there is.
    const std::string& missing() const { return missing_; }

    /// Logs what goes to a UDP port. False when the kernel has no such log.
    bool logPort(int port, const std::string& prefix, int group) const {
        return run("nft 'add rule inet t o udp dport " + std::to_string(port) + " log prefix \"" +
                   prefix + "\" group " + std::to_string(group) + "'");
    }

    static bool run(const std::string& command) {
        return ::system((command + " 2>/dev/null").c_str()) == 0;
    }

  private:
    std::string missing_;
};

/// Sends UDP packets to a port of 127.0.0.1, from a port of its own.
class PacketSender {
  public:
    explicit PacketSender(int port) : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    ~PacketSender() { ::close(socket_); }
    PacketSender(const PacketSender&) = delete;
    PacketSender& operator=(const PacketSender&) = delete;

    void send(int count) const {
        // Every other one tells that nobody listens and is not sent.
        for (int sent = 0; sent < count;)
            sent += ::send(socket_, "x", 1, 0) == 1;
    }

  private:
    int socket_;
};

} // namespace brindle::test
