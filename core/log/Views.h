// SPDX-License-Identifier: BSD-2-Clause
//
// The content views as the parts below the windows see them, and the registry `viewControllers` of
// those that are open. Views are registered, called and removed on the main thread; the live feed
// reads snapshots of the registry from the connection's delivery thread.
//
//     entry_ = std::make_shared<ViewEntry>(this);       // a logs view
//     viewControllers.set("logs", entry_);
#pragma once

#include "core/log/records/RecordDictionary.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace brindle {

enum class LogsMode { live, period };

/// The table of the logs window.
class LogsView {
  public:
    virtual ~LogsView() = default;
    /// Empties the table and fills it anew. Live: from today's records, at most `limit` rows (5
    /// when none is given, 0: all), then the live feed; from and to are not used. Period: every
    /// record from `from` to `to` (epochs).
    virtual void queryLogs(LogsMode mode, std::optional<double> from, std::optional<double> to,
                           std::optional<std::int64_t> limit) = 0;
    /// The period menu's choice: 1 today, 2 the last seven days, any other live.
    virtual void selectLogMode(int index) = 0;
    /// Puts one live record at the top of the table.
    virtual void addLiveRecord(const RecordDictionary& record) = 0;
    /// Rows that the table holds now.
    virtual std::int64_t rowCount() const = 0;
};

/// A list window's two tables.
class ListView {
  public:
    virtual ~ListView() = default;
    virtual void countLiveRecord(const LiveRecordDictionary& record) = 0;
    virtual void reloadTallies() = 0;
};

/// The exclusions editor's table.
class ExclusionsView {
  public:
    virtual ~ExclusionsView() = default;
    virtual void reloadExclusions() = 0;
};

/// What the registry holds for one open view. At most one of the pointers is set; all are null once
/// the entry was removed. The pointers are for the main thread; the rest is for any.
struct ViewEntry {
    enum class Kind { logs, list, exclusions };

    explicit ViewEntry(LogsView* view) : kind(Kind::logs), logs(view) {}
    explicit ViewEntry(ListView* view) : kind(Kind::list), list(view) {}
    explicit ViewEntry(ExclusionsView* view) : kind(Kind::exclusions), exclusions(view) {}

    const Kind kind;
    std::atomic<bool> needrealtime{false}; ///< the view shows live data
    LogsView* logs = nullptr;
    ListView* list = nullptr;
    ExclusionsView* exclusions = nullptr;
};

class ViewControllers {
  public:
    using Entries = std::map<std::string, std::shared_ptr<ViewEntry>>;

    /// Replaces an earlier entry of that name.
    void set(const std::string& name, std::shared_ptr<ViewEntry> entry);
    /// Does nothing when there is no such entry.
    void remove(const std::string& name);
    /// Null when there is no such entry.
    std::shared_ptr<ViewEntry> find(const std::string& name) const;
    /// The entries at this moment; any thread.
    std::shared_ptr<const Entries> snapshot() const;

  private:
    mutable std::mutex mutex_; ///< guards the pointer, never what it points to
    std::shared_ptr<const Entries> entries_ = std::make_shared<const Entries>();
};

} // namespace brindle
