// SPDX-License-Identifier: BSD-2-Clause
//
// The nations of listed addresses: the database is read on a worker, so that the window opens at
// once; until then, and for what it does not hold, there is none. Main thread.
#pragma once

#include "core/log/records/Picture.h"
#include "platform/queue/DispatchQueue.h"
#include "vardex/guard/AddressBlock.h"

#include <QObject>
#include <QString>

#include <memory>
#include <string>

namespace brindle::vardex {

struct NationOfBlock {
    QString name;
    Picture flag;
};

class NationFinder final : public QObject {
    Q_OBJECT
  public:
    /// `path`: of the database. `pixelRatio`: of the sharpest screen.
    NationFinder(std::string path, double pixelRatio,
                 const std::shared_ptr<platform::DispatchQueue>& worker,
                 std::shared_ptr<platform::DispatchQueue> main);
    ~NationFinder() override;

    /// Of a block's first address: "Unknown location" where the database has none, nothing before
    /// it is read.
    NationOfBlock find(const AddressBlock& block) const;

  signals:
    void ready();

  private:
    struct Database;
    std::shared_ptr<const Database> database_; ///< null until it is read
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace brindle::vardex
