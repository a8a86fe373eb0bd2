// SPDX-License-Identifier: BSD-2-Clause
//
// The main queue of a desktop program: tasks run on the thread of the running application object,
// one after the other, from its event loop. Made once by the composition root, on that thread,
// after the application object.
#pragma once

#include "platform/queue/DispatchQueue.h"

namespace brindle::platform {

/// `sync` from the main thread itself runs the task at once.
std::shared_ptr<DispatchQueue> makeMainQueue();

} // namespace brindle::platform
