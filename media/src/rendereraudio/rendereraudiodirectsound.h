#pragma once

// DirectSound as every source file of the module sees it: the headers in an order that works, owning
// pointers, and the one way to query an interface.

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
// dsound.h takes its types from mmsystem.h, which windows.h leaves out under WIN32_LEAN_AND_MEAN: the order
// of these two is forced.
#include <mmsystem.h>

#include <dsound.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>

// In the global namespace, where the COM interfaces live, so that boost::intrusive_ptr finds them.
inline void intrusive_ptr_add_ref(IUnknown* object) {
    object->AddRef();
}
inline void intrusive_ptr_release(IUnknown* object) {
    object->Release();
}

namespace Media {

/// Takes over the one reference that a DirectSound call has put into `object`.
template <class Interface>
boost::intrusive_ptr<Interface> AdoptReference(Interface* object) {
    return boost::intrusive_ptr<Interface>(object, false);
}

/// `object`'s interface `iid`, which must be that of `Interface`; empty when the query fails.
template <class Interface>
boost::intrusive_ptr<Interface> QueryInterfaceOf(IUnknown& object, REFIID iid) {
    void* found = nullptr;
    if (FAILED(object.QueryInterface(iid, &found))) {
        return {};
    }
    return AdoptReference(static_cast<Interface*>(found));
}

} // namespace Media
