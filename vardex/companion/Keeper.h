// SPDX-License-Identifier: BSD-2-Clause
//
// Keeps the black list: in its file, in the packet filter, and known to the window. Changes are
// made on a worker, where the disk is waited for, one after the other; then the list goes to the
// packet filter. Owned by the composition root; main thread.
#pragma once

#include "platform/queue/DispatchQueue.h"
#include "vardex/companion/Applier.h"
#include "vardex/guard/AddressBlock.h"
#include "vardex/list/BlackList.h"
#include "vardex/list/BlackListFile.h"

#include <QObject>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace brindle::vardex {

class Keeper final : public QObject {
    Q_OBJECT
  public:
    /// Where the list stands with the packet filter.
    enum class Standing {
        unknown, ///< nothing was asked of it: the list was empty from the start
        applying,
        applied,
        notApplied, ///< `reason` says why
    };

    /// `applyCommand`: see Applier. `worker`: a serial queue.
    Keeper(BlackListFile file, QStringList applyCommand,
           std::shared_ptr<platform::DispatchQueue> worker,
           std::shared_ptr<platform::DispatchQueue> main);
    ~Keeper() override;

    /// Reads the list; one that is not empty is applied, for the packet filter forgets.
    void load();

    const BlackList& list() const { return list_; }
    Standing standing() const { return standing_; }
    QString reason() const { return reason_; }
    /// About the file; empty when all is well.
    QString warning() const { return warning_; }
    /// Why the packet filter is not to have an entry; empty for those it is to have.
    std::string refusalOf(const BlackListEntry& entry) const;
    /// It was on the list that was applied last, and not refused then.
    bool isBlocked(const BlackListEntry& entry) const;

    void add(std::vector<AddressBlock> blocks, Insistence insistence);
    void remove(std::vector<AddressBlock> blocks);
    /// Takes what the guard refused, because the user means it.
    void insist(std::vector<AddressBlock> blocks);
    /// Once more, after it was not applied.
    void apply();

    /// A change is being made or applied.
    bool isBusy() const { return changing_ > 0 || standing_ == Standing::applying; }

  signals:
    /// Entries, standing or warning.
    void changed();

  private:
    struct Checked {
        BlackListFile::State state;
        std::map<std::string, std::string> refused;
    };
    void change(std::function<void(BlackList&)> change);
    void take(Checked checked, bool isLoad);
    void applied(const ApplyOutcome& outcome);

    const BlackListFile file_;
    const std::shared_ptr<platform::DispatchQueue> worker_;
    const std::shared_ptr<platform::DispatchQueue> main_;
    Applier applier_;

    BlackList list_;
    std::map<std::string, std::string> refused_; ///< reasons by address
    std::vector<AddressBlock> given_;            ///< to the helper that runs
    std::vector<AddressBlock> blocked_;          ///< sorted
    Standing standing_ = Standing::unknown;
    QString reason_;
    QString warning_;
    int changing_ = 0;
    bool applyAgain_ = false; ///< the list changed while it was being applied
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace brindle::vardex
