// SPDX-License-Identifier: BSD-2-Clause
//
// What the user is asked before addresses are blocked without which the machine is cut off. Main
// thread.
//
//     Doubts doubts;
//     doubts.add(block, reason);
//     if (doubts.areOverruled(this)) keeper_.insist(doubts.blocks());
#pragma once

#include "vardex/guard/AddressBlock.h"

#include <QStringList>
#include <QWidget>

#include <string>
#include <vector>

namespace brindle::vardex {

class Doubts {
  public:
    /// `reason`: as the guard gives it.
    void add(const AddressBlock& block, const std::string& reason);

    const std::vector<AddressBlock>& blocks() const { return blocks_; }
    /// Asks, and waits for the answer; false without asking where there is nothing to ask.
    bool areOverruled(QWidget* parent) const;

  private:
    std::vector<AddressBlock> blocks_;
    QStringList reasons_; ///< of the first few
};

} // namespace brindle::vardex
