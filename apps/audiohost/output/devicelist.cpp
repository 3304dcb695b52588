#include "output/devicelist.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// Needed by dsound.h, and needing windows.h.
#include <mmsystem.h>

#include <dsound.h>
#include <objbase.h>

#include "terminal/widetext.h"

namespace AudioHost {

namespace {

std::string FormatGuid(GUID const& guid) {
    wchar_t text[64] = {};
    return StringFromGUID2(guid, text, static_cast<int>(std::size(text))) > 0 ? ToUtf8(text) : "";
}

BOOL CALLBACK Take(LPGUID guid, LPCWSTR name, LPCWSTR driver, LPVOID list) {
    static_cast<std::vector<SoundDevice>*>(list)->push_back(
        {ToUtf8(name ? name : L""), ToUtf8(driver ? driver : L""), guid ? FormatGuid(*guid) : ""});
    return TRUE;
}

} // namespace

DeviceList ListDevices() {
    DeviceList list;
    DirectSoundEnumerateW(Take, &list.outputs);
    DirectSoundCaptureEnumerateW(Take, &list.inputs);
    return list;
}

} // namespace AudioHost
