#pragma once

#include <atomic>

#include "harbour/export.h"

namespace Harbour {

/// Whatever `boost::intrusive_ptr` counts here derives from it; its last holder ends it by `Dispose`.
///
/// **Threads:** the count from any thread.
class HARBOUR_API Counted {
public:
    Counted() = default;
    virtual ~Counted();
    Counted(Counted const&) = delete;
    Counted& operator=(Counted const&) = delete;

    friend void intrusive_ptr_add_ref(Counted const* object) { ++object->holders_; }
    friend void intrusive_ptr_release(Counted const* object) {
        if (--object->holders_ == 0) {
            const_cast<Counted*>(object)->Dispose();
        }
    }

protected:
    virtual void Dispose();

private:
    mutable std::atomic<int> holders_{0};
};

} // namespace Harbour
