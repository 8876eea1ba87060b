// A system-wide named mutex: owned by a thread, re-entrant for its owner, shared by every
// process that opens the same name. When an owner dies holding it, the next waiter gets it
// back with the "abandoned" code.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "system/wait_codes.h"

namespace vkl::system {

// Opens the mutex of that name, creating it when it does not exist yet; not owned afterwards.
// Returns a handle (every open a new one), or 0 when the mutex could not be made (the last
// error says why). `created`, when given, tells whether the mutex is new.
intptr_t named_mutex_open(std::string_view name, bool* created = nullptr);

// A new mutex no other open can reach, as named_mutex_open otherwise.
intptr_t named_mutex_open_private();

// Waits up to `ms` milliseconds (negative: without limit) and returns one of the codes above.
int named_mutex_wait(intptr_t handle, int64_t ms);

// Gives up one level of ownership; false when the calling thread does not own the mutex.
bool named_mutex_release(intptr_t handle);

// One more holder of the handle, which then closes it once more before it is gone; lets two
// owners (an object and the handle space) share a handle without closing it under each other.
void named_mutex_share(intptr_t handle);

// Closes a handle from named_mutex_open (once per holder). The mutex itself stays while other
// handles (of any process) are open or a thread of this process holds it; the last close
// removes it.
void named_mutex_close(intptr_t handle);

// Lets go of every mutex of this process that none of its threads holds, and removes the
// names it alone has open, so that an ending process leaves no object behind but the ones
// other processes still use. Runs at exit by itself; for an exit that skips the exit
// handlers, called before it. The handles of the mutexes let go of fail afterwards.
void named_mutex_let_go_all();

// The shared-memory object that holds the mutex of that name ("/" and a name the system
// accepts: bytes it refuses are mapped out, and very long names are shortened with a hash).
std::string named_mutex_object_name(std::string_view name);

}  // namespace vkl::system
