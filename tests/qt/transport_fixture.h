#pragma once

#include <cstddef>

#include "sdk/qt/QtHttpNetworkService.h"
#include "sdk/qt/QtHttpTransport.h"
#include "support/qt/LogCapture.h"
#include "support/qt/OffThread.h"

namespace QuorvelTest {

#ifdef __linux__
// The kernel's id of the calling thread.
long currentThreadId();

// True while thread `tid` of this process sleeps in a futex that lies inside
// [object, object + size): it waits on a lock or a condition of that object.
// This is how a test knows for sure that a thread has reached a wait,
// without a hook in the product and without guessing with a sleep.
bool waitsInside(long tid, const void* object, std::size_t size);
#endif

} // namespace QuorvelTest
