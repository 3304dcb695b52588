#pragma once

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

namespace Media {

/// Holds `mutex` until the end of the scope. A mutex that others hold needs an event to wait with, and throws
/// when the system has none left: it is tried again then, so that nothing in the module has to end halfway,
/// and destructors can let go of what others know.
inline boost::mutex::scoped_lock Hold(boost::mutex& mutex) noexcept {
    for (;;) {
        try {
            return boost::mutex::scoped_lock(mutex);
        } catch (...) {
            boost::this_thread::yield();
        }
    }
}

} // namespace Media
