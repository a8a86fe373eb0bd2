// SPDX-License-Identifier: BSD-2-Clause
//
// Sends UDP packets of one byte to a port of 127.0.0.1, so many a second, and prints how many were
// sent. Nobody needs to listen there: rules of the packet filter are what they are for.
//
//     sendpackets 100000 20000 9905     # packets, a second, port
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

int main(int argc, char** argv) {
    const long count = argc == 4 ? std::atol(argv[1]) : 0;
    const long rate = argc == 4 ? std::atol(argv[2]) : 0;
    const long port = argc == 4 ? std::atol(argv[3]) : 0;
    if (count <= 0 || rate <= 0 || port <= 0 || port > 65535) {
        std::fputs("usage: sendpackets COUNT A-SECOND PORT\n", stderr);
        return 2;
    }
    const int sender = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);

    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    long sent = 0;
    while (sent < count) {
        const std::chrono::duration<double> passed = Clock::now() - begin;
        const auto due = static_cast<long>(passed.count() * static_cast<double>(rate));
        for (; sent < due && sent < count; ++sent)
            if (::sendto(sender, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address),
                         sizeof address) != 1) {
                std::perror("sendpackets");
                return 1;
            }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::printf("%ld\n", sent);
    ::close(sender);
    return 0;
}
