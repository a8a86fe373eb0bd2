// SPDX-License-Identifier: BSD-2-Clause
//
// libpcap opens and reads the group, but leaves it as the kernel makes it: records are held back
// for up to a second, carry no numbers, and whole packets are copied. The rest is asked of the
// kernel here, over the same socket, which alone may.
#include "tallyd/sources/capture/CaptureDevices.h"

#include "tallyd/sources/nflog/NflogDecoder.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_log.h>
#include <linux/netlink.h>
#include <pcap/pcap.h>
#include <sys/socket.h>

namespace brindle::tallyd {

namespace {

/// The addresses and ports stand in the first bytes, behind IPv6 extension headers at worst.
constexpr std::uint32_t kCopiedBytes = 512;
/// Hundredths of a second that the kernel may collect packets for one message.
constexpr std::uint32_t kHoldTime = 2;
constexpr std::uint32_t kHoldPackets = 64;
constexpr std::uint32_t kMessageBytes = 32 * 1024;
/// libpcap's own buffer is made by this; a message of the kernel must fit.
constexpr int kSnapshotBytes = 128 * 1024;
constexpr int kSocketBytes = 32 * 1024 * 1024;

/// One configuration message: a netlink header, the group, attributes.
class ConfigMessage {
  public:
    explicit ConfigMessage(std::uint16_t group) {
        nlmsghdr header{};
        header.nlmsg_type = (NFNL_SUBSYS_ULOG << 8) | NFULNL_MSG_CONFIG;
        header.nlmsg_flags = NLM_F_REQUEST;
        append(header);
        nfgenmsg family{};
        family.version = NFNETLINK_V0;
        family.res_id = htons(group);
        append(family);
    }

    template <typename Value>
    void attribute(std::uint16_t type, const Value& value) {
        append(nlattr{static_cast<std::uint16_t>(sizeof(nlattr) + sizeof value), type});
        append(value);
        bytes_.resize(NLMSG_ALIGN(bytes_.size()));
    }

    bool send(int socket) {
        const auto length = static_cast<std::uint32_t>(bytes_.size());
        std::memcpy(bytes_.data() + offsetof(nlmsghdr, nlmsg_len), &length, sizeof length);
        sockaddr_nl kernel{};
        kernel.nl_family = AF_NETLINK;
        return ::sendto(socket, bytes_.data(), bytes_.size(), 0,
                        reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel) >= 0;
    }

  private:
    template <typename Value>
    void append(const Value& value) {
        const auto* const start = reinterpret_cast<const std::uint8_t*>(&value);
        bytes_.insert(bytes_.end(), start, start + sizeof value);
    }

    std::vector<std::uint8_t> bytes_;
};

/// The kernel's answer to a request it refuses comes between the packets, where libpcap passes it
/// over: every kernel of the last fifteen years knows these.
bool configure(int socket, std::uint16_t group) {
    nfulnl_msg_config_mode mode{};
    mode.copy_mode = NFULNL_COPY_PACKET;
    mode.copy_range = htonl(kCopiedBytes);
    ConfigMessage message(group);
    message.attribute(NFULA_CFG_FLAGS, htons(NFULNL_CFG_F_SEQ));
    message.attribute(NFULA_CFG_TIMEOUT, htonl(kHoldTime));
    message.attribute(NFULA_CFG_QTHRESH, htonl(kHoldPackets));
    message.attribute(NFULA_CFG_NLBUFSIZ, htonl(kMessageBytes));
    message.attribute(NFULA_CFG_MODE, mode);
    return message.send(socket);
}

void enlargeBuffer(int socket) {
    // Beyond the limit for everyone, where we have the right; else as far as that.
    if (::setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &kSocketBytes, sizeof kSocketBytes) != 0)
        ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &kSocketBytes, sizeof kSocketBytes);
    // What the buffer cannot take shows in the packets' numbers, to the packet. The socket's own
    // report only says that there was some, and would make libpcap wait for input behind it.
    const int on = 1;
    ::setsockopt(socket, SOL_NETLINK, NETLINK_NO_ENOBUFS, &on, sizeof on);
}

std::string reasonOf(pcap* handle, std::uint16_t group) {
    const std::string_view reason = pcap_geterr(handle);
    // The kernel answers so to the second listener; one without the right fails before.
    if (reason.find("listen on group") != reason.npos && errno == EPERM)
        return fmt::format("group {} is taken by another program", group);
    if (errno == EPERM)
        return "no right to listen (CAP_NET_ADMIN)";
    return std::string(reason);
}

} // namespace

tl::expected<OpenCapture, std::string> openNflogGroup(std::uint16_t group,
                                                      ActionPatterns patterns) {
    char reason[PCAP_ERRBUF_SIZE] = "";
    PcapHandle handle(pcap_create(fmt::format("nflog:{}", group).c_str(), reason));
    if (!handle)
        return tl::unexpected(std::string(reason));
    pcap_set_snaplen(handle.get(), kSnapshotBytes);
    pcap_set_immediate_mode(handle.get(), 1);
    errno = 0;
    if (pcap_activate(handle.get()) < 0)
        return tl::unexpected(reasonOf(handle.get(), group));
    const int socket = pcap_get_selectable_fd(handle.get());
    enlargeBuffer(socket);
    if (!configure(socket, group))
        return tl::unexpected(
            fmt::format("group {} cannot be configured: {}", group, std::strerror(errno)));
    InterfaceNames interfaces(InterfaceNames::ofThisMachine());
    return OpenCapture{std::move(handle),
                       std::make_unique<NflogDecoder>(std::move(patterns), std::move(interfaces))};
}

} // namespace brindle::tallyd
