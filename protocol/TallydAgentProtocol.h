// SPDX-License-Identifier: BSD-2-Clause
//
// What the viewer offers to the daemon on the connection it opened: the messages that the daemon
// sends of its own accord. Calls arrive on the connection's delivery thread, one at a time, and are
// never answered; an implementation returns at once.
#pragma once

#include "core/log/records/RecordDictionary.h"

#include <map>
#include <string>

namespace brindle {

class TallydAgentProtocol {
  public:
    virtual ~TallydAgentProtocol() = default;
    /// One new log entry, after it was stored. Sent only between startSendingLog and
    /// stopSendingLog.
    virtual void realTimeLogWithInfo(LiveRecordDictionary info) = 0;
    virtual void sendLogUserNotificationWithInfo(std::map<std::string, std::string> info) = 0;
};

} // namespace brindle
