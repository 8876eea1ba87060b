// The results of waiting for a handle, the codes scripts see.
#pragma once

namespace vkl::system {

enum : int { kWaitAcquired = 0, kWaitAbandoned = 128, kWaitTimedOut = 258, kWaitFailed = -1 };

}  // namespace vkl::system
