// SPDX-License-Identifier: BSD-2-Clause
#include "core/stats/VisualizerObj.h"

#include "core/geo/VDXNationInfo.h"

#include <utility>

namespace brindle {
namespace {

constexpr const char* kLabelParameter = "label";
constexpr std::string_view kNoNationCode = "lan";
const std::string kNoText;

} // namespace

VisualizerObj::VisualizerObj(Private, Kind kind, std::string label, std::int64_t value,
                             const PortNames* portNames)
    : originallabel_(std::move(label)), value_(value), kind_(kind) {
    if (kind_.isPort && portNames != nullptr)
        portname_ = &portNames->name(originallabel_);
}

std::shared_ptr<VisualizerObj> VisualizerObj::create(Kind kind, std::string label,
                                                     std::int64_t value,
                                                     const PortNames* portNames) {
    return std::make_shared<VisualizerObj>(Private(), kind, std::move(label), value, portNames);
}

VisualizerObj::~VisualizerObj() {
    // Nobody wants the name of a row that has gone: its look-ups stop.
    if (resolution_)
        for (const auto& [ip, query] : resolution_->queriesip)
            query->stop(userCancelledError(), HostNameQuery::Notify::no);
}

const std::string& VisualizerObj::label() const {
    return resolution_ && !resolution_->name.empty() ? resolution_->name : originallabel_;
}

const std::string& VisualizerObj::portname() const {
    return portname_ != nullptr ? *portname_ : kNoText;
}

std::string_view VisualizerObj::nationcodeip() const {
    if (!nationAnswered_)
        return {};
    return natinfoip_ && natinfoip_->isoName ? std::string_view(*natinfoip_->isoName)
                                             : kNoNationCode;
}

std::optional<TallyColour> VisualizerObj::color() const {
    return color_;
}

const std::map<std::string, std::shared_ptr<HostNameQuery>>& VisualizerObj::queriesip() const {
    static const std::map<std::string, std::shared_ptr<HostNameQuery>> none;
    return resolution_ ? resolution_->queriesip : none;
}

void VisualizerObj::setValue(std::int64_t value) {
    value_ = value;
    changed(VisualizerProperty::value);
}

void VisualizerObj::setNationInfo(const TallyServices& services) {
    if (nationisset_)
        return;
    nationisset_ = true;
    if (!services.nationInfo)
        return;
    services.queues.global->async([weak = weak_from_this(), text = label(),
                                   nations = services.nationInfo, main = services.queues.main] {
        main->async([weak, answer = nations->nationInfo(text)] {
            if (const auto row = weak.lock()) {
                row->natinfoip_ = answer;
                row->nationAnswered_ = true;
                row->changed(VisualizerProperty::nation);
            }
        });
    });
}

void VisualizerObj::setHostname(const TallyServices& services) {
    if (!kind_.isIP || hasBeenReversed_ || services.names.resolver == nullptr)
        return;
    services.queues.reverse->sync([this, &services] {
        setHasBeenReversed(true);
        if (!resolution_)
            resolution_ = std::make_unique<Resolution>();
        // The deadline runs before anything is asked: a query may fail at once.
        resolution_->timeripreverse =
            services.names.timers->after(kNameDeadlineSeconds, [weak = weak_from_this()] {
                if (const auto row = weak.lock())
                    row->timeoutQueryIP();
            });
        const std::string text = label();
        if (auto address = dataFromNumericIPWithIp(text)) {
            const auto query = HostNameQuery::create(*services.names.resolver, std::move(*address),
                                                     text, kLabelParameter);
            resolution_->queriesip[text] = query;
            query->setDelegate(weak_from_this());
            query->start();
        }
        setNationInfo(services);
    });
}

void VisualizerObj::didCompleteWithNames(const std::vector<std::string>& names,
                                         HostNameQuery& query) {
    if (names.empty() || names.front().empty() || query.refParameter() != kLabelParameter)
        return;
    resolution_->timeripreverse->invalidate();
    resolution_->name = names.front();
    forget(query.ip());
    changed(VisualizerProperty::label);
}

void VisualizerObj::didCompleteWithError(const HostNameError&, HostNameQuery& query) {
    if (query.refParameter() != kLabelParameter)
        return;
    resolution_->timeripreverse->invalidate();
    forget(query.ip());
}

void VisualizerObj::timeoutQueryIP() {
    if (resolution_) {
        const std::string text = label();
        if (const auto found = resolution_->queriesip.find(text);
            found != resolution_->queriesip.end() && found->second->isRunning())
            found->second->stop(userCancelledError(), HostNameQuery::Notify::no);
        forget(text);
    }
    setHasBeenReversed(false);
}

void VisualizerObj::forget(const std::string& ip) {
    const auto found = resolution_->queriesip.find(ip);
    if (found == resolution_->queriesip.end())
        return;
    found->second->setDelegate({});
    resolution_->queriesip.erase(found);
}

void VisualizerObj::setHasBeenReversed(bool reversed) {
    hasBeenReversed_ = reversed;
    changed(VisualizerProperty::hasBeenReversed);
}

void VisualizerObj::setObserver(VisualizerObserver* observer, std::size_t place) {
    observer_ = observer;
    place_ = static_cast<std::uint32_t>(place);
}

void VisualizerObj::changed(VisualizerProperty property) {
    if (observer_ != nullptr)
        observer_->visualizerChanged(*this, property);
}

std::optional<platform::SocketAddress> dataFromNumericIPWithIp(const std::string& ip) {
    return platform::socketAddressData(ip);
}

} // namespace brindle
