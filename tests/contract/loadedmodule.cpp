#include "loadedmodule.h"

#include <windows.h>
// After windows.h, on which it builds.
#include <winver.h>

#include <new>
#include <stdexcept>

#include "image.h"
#include "names.h"
#include "rendereraudio.h"

namespace ContractTest {

namespace {

constexpr char const* FileName = "rendereraudio.dll";

/// A member function without arguments, as the caller sees it: the object is the first argument.
using ObjectFunction = void (*)(void* object);

void CallOn(LoadedModule const& module, char const* name, void* object) {
    reinterpret_cast<ObjectFunction>(module.Find(name))(object);
}

} // namespace

LoadedModule::LoadedModule() : handle_(LoadLibraryA(FileName)) {
    if (handle_ == nullptr) {
        throw std::runtime_error("rendereraudio.dll cannot be loaded, error " +
                                 std::to_string(GetLastError()));
    }
}

LoadedModule::~LoadedModule() {
    FreeLibrary(static_cast<HMODULE>(handle_));
}

bool LoadedModule::IsLoaded() {
    return GetModuleHandleA(FileName) != nullptr;
}

std::vector<std::string> LoadedModule::GetExports() const {
    return GetExportNames(handle_);
}

void* LoadedModule::Find(std::string const& name) const {
    auto* const address =
        reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name.c_str()));
    if (address == nullptr) {
        throw std::runtime_error("rendereraudio.dll does not export " + name);
    }
    return address;
}

std::string LoadedModule::GetVersionText(std::string const& key) const {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(static_cast<HMODULE>(handle_), path, MAX_PATH);
    std::vector<char> resource(GetFileVersionInfoSizeA(path, nullptr));
    if (resource.empty() ||
        !GetFileVersionInfoA(path, 0, static_cast<DWORD>(resource.size()), resource.data())) {
        return {};
    }
    // American English, Unicode: the language of the texts in the resource.
    std::string const query = "\\StringFileInfo\\040904B0\\" + key;
    void* text = nullptr;
    UINT length = 0;
    return VerQueryValueA(resource.data(), query.c_str(), &text, &length) ? static_cast<char const*>(text)
                                                                          : "";
}

LoadedRenderer::LoadedRenderer(LoadedModule const& module) : module_(module) {
    void* const memory =
        ::operator new(sizeof(Media::RendererAudio), std::align_val_t(alignof(Media::RendererAudio)));
    CallOn(module_, Names::RendererConstructor, memory);
    renderer_ = static_cast<Media::RendererAudio*>(memory);
}

LoadedRenderer::~LoadedRenderer() {
    CallOn(module_, Names::RendererDestructor, renderer_);
    ::operator delete(static_cast<void*>(renderer_), std::align_val_t(alignof(Media::RendererAudio)));
}

} // namespace ContractTest
