// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/LogExtra.h"

#include "core/log/VDXLog.h"

namespace brindle {
namespace {

constexpr std::array<const char*, 3> kParameters{"srcip", "dstip", "label"};
constexpr std::array<LogField, 3> kDisplayed{LogField::addresssrcip, LogField::addressdstip,
                                             LogField::label};

} // namespace

LogExtra::~LogExtra() {
    if (!running_)
        return;
    for (const Resolution& resolution : running_->fields)
        for (const auto& [ip, query] : resolution.queries)
            query->stop(userCancelledError(), HostNameQuery::Notify::no);
}

void LogExtra::reverse(const std::string& srcip, const std::string& dstip,
                       const NameServices& services, double seconds,
                       std::function<void()> changed) {
    hasBeenReversed = true;
    if (!running_)
        running_ = std::make_unique<Running>();
    running_->changed = std::move(changed);

    // Every deadline runs before anything is asked: a query may fail at once.
    const auto arm = [&](Field field, const std::string& text) {
        Resolution& resolution = running_->fields[static_cast<std::size_t>(field)];
        resolution.text = text;
        resolution.timer = services.timers->after(seconds, [weak = weak_from_this(), field] {
            if (const auto extra = weak.lock())
                extra->timeOut(field);
        });
    };
    arm(Field::srcip, srcip);
    arm(Field::dstip, dstip);

    for (const Field field : {Field::srcip, Field::dstip}) {
        const auto index = static_cast<std::size_t>(field);
        const std::string text = running_->fields[index].text;
        std::optional<platform::SocketAddress> address = platform::socketAddressData(text);
        if (!address)
            continue;
        const auto query = HostNameQuery::create(*services.resolver, std::move(*address), text,
                                                 kParameters[index]);
        query->setDelegate(weak_from_this());
        running_->fields[index].queries[text] = query;
        query->start();
    }
}

LogExtra::Field LogExtra::fieldOf(const HostNameQuery& query) {
    for (std::size_t i = 0; i < kParameters.size(); ++i)
        if (query.refParameter() == kParameters[i])
            return static_cast<Field>(i);
    return Field::count;
}

void LogExtra::didCompleteWithNames(const std::vector<std::string>& names, HostNameQuery& query) {
    const Field field = fieldOf(query);
    if (names.empty() || names.front().empty() || field == Field::count || !running_)
        return;
    Resolution& resolution = running_->fields[static_cast<std::size_t>(field)];
    if (resolution.timer)
        resolution.timer->invalidate();
    texts[kDisplayed[static_cast<std::size_t>(field)]] = names.front();
    forget(resolution, query.ip());
    const std::function<void()> changed = running_->changed;
    releaseWhenIdle();
    if (changed)
        changed();
}

void LogExtra::didCompleteWithError(const HostNameError&, HostNameQuery& query) {
    const Field field = fieldOf(query);
    if (field == Field::count || !running_)
        return;
    Resolution& resolution = running_->fields[static_cast<std::size_t>(field)];
    if (resolution.timer)
        resolution.timer->invalidate();
    forget(resolution, query.ip());
    releaseWhenIdle();
}

void LogExtra::timeOut(Field field) {
    if (running_) {
        Resolution& resolution = running_->fields[static_cast<std::size_t>(field)];
        if (const auto found = resolution.queries.find(resolution.text);
            found != resolution.queries.end() && found->second->isRunning())
            found->second->stop(userCancelledError(), HostNameQuery::Notify::no);
        forget(resolution, resolution.text);
        releaseWhenIdle();
    }
    hasBeenReversed = false;
}

void LogExtra::forget(Resolution& resolution, const std::string& ip) {
    const auto found = resolution.queries.find(ip);
    if (found == resolution.queries.end())
        return;
    found->second->setDelegate({});
    resolution.queries.erase(found);
}

void LogExtra::releaseWhenIdle() {
    for (const Resolution& resolution : running_->fields)
        if (!resolution.queries.empty() || (resolution.timer && resolution.timer->isRunning()))
            return;
    running_.reset();
}

} // namespace brindle
