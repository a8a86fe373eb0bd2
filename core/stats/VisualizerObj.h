// SPDX-License-Identifier: BSD-2-Clause
//
// One tally row: an address or a port and how many records it had, with what is known of it. Made
// by a reload, a statistics request or a live record; shared by its list and by what runs for it
// (look-ups know it weakly). Created, read and changed on the main thread.
//
//     auto row = VisualizerObj::create({.isIP = true}, "203.0.113.7", 12, services.portNames);
//     row->setNationInfo(services);
#pragma once

#include "core/annotate/HostNameQuery.h"
#include "core/geo/NationInfoRecord.h"
#include "core/log/records/Picture.h"
#include "core/stats/TallyColours.h"
#include "core/stats/TallyServices.h"
#include "platform/timer/Timer.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brindle {

class VisualizerObj;

/// The properties of a row that change while it is shown.
enum class VisualizerProperty : std::uint8_t { label, value, nation, hasBeenReversed };

/// Told of every change of a row. Main thread.
class VisualizerObserver {
  public:
    virtual ~VisualizerObserver() = default;
    virtual void visualizerChanged(VisualizerObj& row, VisualizerProperty property) = 0;
};

class VisualizerObj final : public HostNameQueryDelegate,
                            public std::enable_shared_from_this<VisualizerObj> {
    /// Only this class can name one: rows are made by `create`.
    struct Private {
        explicit Private() = default;
    };

  public:
    struct Kind {
        bool isIP = false;
        bool isPort = false;
        friend bool operator==(const Kind&, const Kind&) = default;
    };

    /// `portNames`: null for none; a port's service name is taken from it.
    static std::shared_ptr<VisualizerObj> create(Kind kind, std::string label, std::int64_t value,
                                                 const PortNames* portNames);
    VisualizerObj(Private, Kind kind, std::string label, std::int64_t value,
                  const PortNames* portNames);
    ~VisualizerObj() override;
    VisualizerObj(const VisualizerObj&) = delete;
    VisualizerObj& operator=(const VisualizerObj&) = delete;

    /// The address or port as counted; the host name once it is known.
    const std::string& label() const;
    /// The address or port as counted, for ever.
    const std::string& originallabel() const { return originallabel_; }
    std::int64_t value() const { return value_; }
    void setValue(std::int64_t value);
    /// Of a port; empty when it has none.
    const std::string& portname() const;
    /// The nation's icon-sized picture; empty until the look-up answered.
    Picture image() const { return natinfoip_ ? natinfoip_->smallImage : Picture(); }
    /// Reserved: always empty.
    std::string_view nationName() const { return {}; }
    bool isIP() const { return kind_.isIP; }
    bool isPort() const { return kind_.isPort; }
    /// ISO code, or "lan" when the look-up gave none; empty until it answered.
    std::string_view nationcodeip() const;
    /// A reverse look-up has been started and has not timed out.
    bool hasBeenReversed() const { return hasBeenReversed_; }
    std::string_view icon() const { return "•"; }
    /// The legend's colour; only rows of a statistics window have one.
    std::optional<TallyColour> color() const;
    void setColor(TallyColour colour) { color_ = colour; }
    /// A nation look-up has been scheduled.
    bool nationisset() const { return nationisset_; }
    void setNationisset() { nationisset_ = true; }
    const NationInfo& natinfoip() const { return natinfoip_; }
    /// Pending reverse look-ups by the address text they were started for.
    const std::map<std::string, std::shared_ptr<HostNameQuery>>& queriesip() const;

    /// Schedules the nation look-up, once in the life of the row.
    void setNationInfo(const TallyServices& services);
    /// A name was looked up at some time: the row has what belongs to the main thread.
    bool hasResolution() const { return resolution_ != nullptr; }
    /// Starts resolving the address; only addresses, and one look-up at a time.
    void setHostname(const TallyServices& services);
    void timeoutQueryIP();

    void didCompleteWithNames(const std::vector<std::string>& names, HostNameQuery& query) override;
    void didCompleteWithError(const HostNameError& error, HostNameQuery& query) override;

    /// Set by the list that holds the row: who is told, and the row's place in that list.
    void setObserver(VisualizerObserver* observer, std::size_t place);
    std::size_t place() const { return place_; }

  private:
    struct Resolution {
        std::string name; ///< empty until known
        std::unique_ptr<platform::Timer> timeripreverse;
        std::map<std::string, std::shared_ptr<HostNameQuery>> queriesip;
    };

    void changed(VisualizerProperty property);
    void forget(const std::string& ip);
    void setHasBeenReversed(bool reversed);

    const std::string originallabel_;
    std::int64_t value_;
    const std::string* portname_ = nullptr; ///< in the table of port names
    NationInfo natinfoip_;
    std::unique_ptr<Resolution> resolution_; ///< from the first reverse look-up on
    VisualizerObserver* observer_ = nullptr;
    std::uint32_t place_ = 0;
    std::optional<TallyColour> color_;
    const Kind kind_;
    bool hasBeenReversed_ = false;
    bool nationisset_ = false;
    bool nationAnswered_ = false;
};

/// `dataFromNumericIPWithIp`: the socket address of a numeric address text, or nothing.
std::optional<platform::SocketAddress> dataFromNumericIPWithIp(const std::string& ip);

} // namespace brindle
