#pragma once

// DirectSound as every source file of the module sees it: the headers in an order that works, owning
// pointers, and the one way to query an interface or to read a cursor.

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
// dsound.h takes its types from mmsystem.h, which windows.h leaves out under WIN32_LEAN_AND_MEAN: the order
// of these two is forced.
#include <mmsystem.h>

#include <dsound.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <optional>

// In the global namespace, where the COM interfaces live, so that boost::intrusive_ptr finds them.
inline void intrusive_ptr_add_ref(IUnknown* object) {
    object->AddRef();
}
inline void intrusive_ptr_release(IUnknown* object) {
    object->Release();
}

namespace Media {

/// What the module's classes share of DirectSound and Win32, and none of them owns.
namespace DirectSound {

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

/// The play cursor's byte offset in `soundBuffer`; nothing without one (null), and when it cannot be read.
inline std::optional<std::uint32_t> ReadPlayByte(IDirectSoundBuffer8* soundBuffer) {
    DWORD playByte = 0;
    DWORD writeByte = 0;
    if (soundBuffer == nullptr || FAILED(soundBuffer->GetCurrentPosition(&playByte, &writeByte))) {
        return std::nullopt;
    }
    return playByte;
}

} // namespace DirectSound
} // namespace Media
