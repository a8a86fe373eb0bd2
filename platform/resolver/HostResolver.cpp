// SPDX-License-Identifier: BSD-2-Clause
#include "platform/resolver/HostResolver.h"

#include "platform/resolver/HostsFile.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include <ares.h>
#include <arpa/inet.h>
#include <arpa/nameser.h>
#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace brindle::platform {
namespace {

/// One look-up. The completion belongs to the main thread; the resolver's thread only carries it.
struct Request {
    std::string question; ///< "1.2.0.192.in-addr.arpa"
    std::string numeric;  ///< "192.0.2.1"
    SocketAddress address;
    HostResolver::Completion completion;
    std::atomic<bool> abandoned{false};
};

class AbandonOnEnd final : public HostLookup {
  public:
    explicit AbandonOnEnd(std::shared_ptr<Request> request) : request_(std::move(request)) {}
    ~AbandonOnEnd() override { request_->abandoned = true; }

  private:
    std::shared_ptr<Request> request_;
};

/// Null for a family that has no reverse zone.
std::shared_ptr<Request> makeRequest(const SocketAddress& address) {
    auto request = std::make_shared<Request>();
    request->address = address;
    char text[INET6_ADDRSTRLEN];
    sockaddr_storage storage{};
    if (address.size() > sizeof storage || address.size() < sizeof(sa_family_t))
        return nullptr;
    std::memcpy(&storage, address.data(), address.size());
    if (storage.ss_family == AF_INET && address.size() >= sizeof(sockaddr_in)) {
        std::uint8_t b[4];
        std::memcpy(b, address.data() + offsetof(sockaddr_in, sin_addr), 4);
        request->question = fmt::format("{}.{}.{}.{}.in-addr.arpa", b[3], b[2], b[1], b[0]);
        inet_ntop(AF_INET, b, text, sizeof text);
    } else if (storage.ss_family == AF_INET6 && address.size() >= sizeof(sockaddr_in6)) {
        std::uint8_t b[16];
        std::memcpy(b, address.data() + offsetof(sockaddr_in6, sin6_addr), 16);
        for (int i = 15; i >= 0; --i)
            request->question += fmt::format("{:x}.{:x}.", b[i] & 0xF, b[i] >> 4);
        request->question += "ip6.arpa";
        inet_ntop(AF_INET6, b, text, sizeof text);
    } else {
        return nullptr;
    }
    request->numeric = text;
    return request;
}

StreamError streamError(int status) {
    using Domain = StreamError::Domain;
    switch (status) {
    case ARES_ENOTFOUND:
    case ARES_ENODATA:
        return {Domain::netDatabase, EAI_NONAME};
    case ARES_ETIMEOUT:
        return {Domain::netDatabase, EAI_AGAIN};
    case ARES_ECONNREFUSED:
        return {Domain::posix, ECONNREFUSED};
    case ARES_ENOMEM:
        return {Domain::posix, ENOMEM};
    default:
        return {Domain::netDatabase, EAI_FAIL};
    }
}

class AresResolver final : public HostResolver {
  public:
    AresResolver(std::shared_ptr<DispatchQueue> main, ResolverOptions options)
        : main_(std::move(main)), options_(std::move(options)), hosts_(options_.hostsFile) {}

    ~AresResolver() override {
        if (thread_.joinable()) {
            {
                const std::lock_guard lock(mutex_);
                stopping_ = true;
            }
            wake();
            thread_.join();
        }
        if (channelReady_)
            ares_destroy(channel_);
        if (wakeUp_ >= 0)
            close(wakeUp_);
    }

    tl::expected<void, std::string> open() {
        ares_options wanted{};
        wanted.timeout = options_.timeoutMilliseconds;
        wanted.tries = options_.tries;
        wanted.sock_state_cb = [](void* self, ares_socket_t socket, int read, int write) {
            static_cast<AresResolver*>(self)->watch(socket, read, write);
        };
        wanted.sock_state_cb_data = this;
        const int status = ares_init_options(
            &channel_, &wanted, ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_SOCK_STATE_CB);
        if (status != ARES_SUCCESS)
            return tl::unexpected(
                fmt::format("cannot set up name look-ups: {}", ares_strerror(status)));
        channelReady_ = true;
        if (!options_.server.empty() &&
            ares_set_servers_ports_csv(channel_, options_.server.c_str()) != ARES_SUCCESS)
            return tl::unexpected(
                fmt::format("\"{}\" is no name server: ADDRESS:PORT is expected", options_.server));
        wakeUp_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (wakeUp_ < 0)
            return tl::unexpected(
                fmt::format("cannot set up name look-ups: {}", std::strerror(errno)));
        thread_ = std::thread([this] { run(); });
        return {};
    }

    tl::expected<std::unique_ptr<HostLookup>, StreamError>
    startNames(const SocketAddress& address, Completion completion) override {
        std::shared_ptr<Request> request = makeRequest(address);
        if (!request)
            return tl::unexpected(StreamError{StreamError::Domain::posix, EAFNOSUPPORT});
        request->completion = std::move(completion);
        bool first = false;
        {
            const std::lock_guard lock(mutex_);
            first = submitted_.empty();
            submitted_.push_back(request);
        }
        if (first)
            wake();
        return std::make_unique<AbandonOnEnd>(std::move(request));
    }

  private:
    struct InFlight {
        AresResolver* resolver;
        std::shared_ptr<Request> request;
    };

    void wake() const {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(wakeUp_, &one, sizeof one);
    }

    void watch(ares_socket_t socket, int read, int write) {
        if (read || write)
            sockets_[socket] = static_cast<short>((read ? POLLIN : 0) | (write ? POLLOUT : 0));
        else
            sockets_.erase(socket);
    }

    void run() {
        while (true) {
            {
                const std::lock_guard lock(mutex_);
                if (stopping_)
                    break;
                waiting_.insert(waiting_.end(), submitted_.begin(), submitted_.end());
                submitted_.clear();
            }
            askWaiting();
            waitForSockets();
        }
        // Answers the questions in flight as destroyed, which nobody hears of any more.
        waiting_.clear();
        ares_cancel(channel_);
    }

    void askWaiting() {
        while (!waiting_.empty() && inFlight_ < options_.inFlight) {
            std::shared_ptr<Request> request = std::move(waiting_.front());
            waiting_.pop_front();
            if (request->abandoned)
                continue;
            if (std::vector<std::string> names = hosts_.names(request->numeric); !names.empty()) {
                complete(std::move(request), std::nullopt, std::move(names));
                continue;
            }
            ++inFlight_;
            const std::string question = request->question;
            ares_query(channel_, question.c_str(), ns_c_in, ns_t_ptr, &AresResolver::answered,
                       new InFlight{this, std::move(request)});
        }
    }

    void waitForSockets() {
        std::vector<pollfd> polled{{wakeUp_, POLLIN, 0}};
        for (const auto& [socket, events] : sockets_)
            polled.push_back({socket, events, 0});
        int milliseconds = -1;
        timeval room{};
        if (const timeval* next = ares_timeout(channel_, nullptr, &room))
            milliseconds = static_cast<int>(next->tv_sec * 1000 + next->tv_usec / 1000 + 1);
        poll(polled.data(), polled.size(), milliseconds);
        if (polled[0].revents & POLLIN) {
            std::uint64_t count = 0;
            [[maybe_unused]] const ssize_t got = read(wakeUp_, &count, sizeof count);
        }
        for (std::size_t i = 1; i < polled.size(); ++i)
            if (polled[i].revents)
                ares_process_fd(channel_,
                                polled[i].revents & ~POLLOUT ? polled[i].fd : ARES_SOCKET_BAD,
                                polled[i].revents & POLLOUT ? polled[i].fd : ARES_SOCKET_BAD);
        ares_process_fd(channel_, ARES_SOCKET_BAD, ARES_SOCKET_BAD); // time-outs
    }

    static void answered(void* argument, int status, int, unsigned char* answer, int length) {
        const std::unique_ptr<InFlight> query(static_cast<InFlight*>(argument));
        --query->resolver->inFlight_;
        if (query->request->abandoned)
            return;
        std::vector<std::string> names;
        if (status == ARES_SUCCESS) {
            const SocketAddress& address = query->request->address;
            sa_family_t family = 0;
            std::memcpy(&family, address.data(), sizeof family);
            const std::size_t offset = family == AF_INET ? offsetof(sockaddr_in, sin_addr)
                                                         : offsetof(sockaddr_in6, sin6_addr);
            hostent* host = nullptr;
            status = ares_parse_ptr_reply(answer, length, address.data() + offset,
                                          family == AF_INET ? 4 : 16, family, &host);
            if (status == ARES_SUCCESS) {
                // The library lists every name of the answer as an alias, in the order of the
                // answer.
                for (char** alias = host->h_aliases; alias && *alias; ++alias)
                    names.emplace_back(*alias);
                if (names.empty() && host->h_name)
                    names.emplace_back(host->h_name);
                ares_free_hostent(host);
            }
        }
        if (status == ARES_SUCCESS && !names.empty())
            complete(query->resolver->main_, query->request, std::nullopt, std::move(names));
        else
            complete(query->resolver->main_, query->request,
                     streamError(status == ARES_SUCCESS ? ARES_ENODATA : status), {});
    }

    void complete(std::shared_ptr<Request> request, std::optional<StreamError> error,
                  std::vector<std::string> names) {
        complete(main_, std::move(request), error, std::move(names));
    }
    static void complete(const std::shared_ptr<DispatchQueue>& main,
                         std::shared_ptr<Request> request, std::optional<StreamError> error,
                         std::vector<std::string> names) {
        main->async([request = std::move(request), error, names = std::move(names)]() mutable {
            if (!request->abandoned)
                request->completion(error, std::move(names));
            request->completion = nullptr;
        });
    }

    const std::shared_ptr<DispatchQueue> main_;
    const ResolverOptions options_;

    std::mutex mutex_;
    std::deque<std::shared_ptr<Request>> submitted_; ///< guarded by mutex_
    bool stopping_ = false;                          ///< guarded by mutex_
    int wakeUp_ = -1;
    std::thread thread_;

    // The resolver's thread only, from here on.
    HostsFile hosts_;
    ares_channel channel_{};
    bool channelReady_ = false;
    std::map<ares_socket_t, short> sockets_;
    std::deque<std::shared_ptr<Request>> waiting_;
    std::size_t inFlight_ = 0;
};

} // namespace

std::optional<SocketAddress> socketAddressData(const std::string& text) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    // An embedded NUL would cut the text short.
    if (text.find('\0') != text.npos || getaddrinfo(text.c_str(), nullptr, &hints, &found) != 0)
        return std::nullopt;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(found->ai_addr);
    SocketAddress address(bytes, bytes + found->ai_addrlen);
    freeaddrinfo(found);
    return address;
}

tl::expected<std::unique_ptr<HostResolver>, std::string>
makeHostResolver(std::shared_ptr<DispatchQueue> main, ResolverOptions options) {
    auto resolver = std::make_unique<AresResolver>(std::move(main), std::move(options));
    if (auto opened = resolver->open(); !opened)
        return tl::unexpected(opened.error());
    return resolver;
}

} // namespace brindle::platform
