#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace Media {
class RendererAudio;
}

namespace ContractTest {

/// The shipped library in this process, loaded as a host loads it that knows it only by its name. Everything
/// is reached through its export table.
///
/// **Threads:** one at a time.
class LoadedModule {
public:
    /// Loads it from the program's own folder. Throws `std::runtime_error` when that fails.
    LoadedModule();
    /// Unloads it.
    ~LoadedModule();
    LoadedModule(LoadedModule const&) = delete;
    LoadedModule& operator=(LoadedModule const&) = delete;

    /// True while the library is loaded in this process, by whomever.
    static bool IsLoaded();

    /// Names in the export table, in its order.
    std::vector<std::string> GetExports() const;

    /// Address of an export. Throws `std::runtime_error` when there is none of the name.
    void* Find(std::string const& name) const;

    /// The same of a member function, as a pointer of the type `Member`: how an object and a result are
    /// handed over, only the compiler knows.
    template <class Member>
    Member FindMember(std::string const& name) const {
        void* const address = Find(name);
        Member member = nullptr;
        static_assert(sizeof member >= sizeof address);
        // What may follow the address is of no concern to a class with one base and a function that is not
        // virtual.
        std::memcpy(&member, &address, sizeof address);
        return member;
    }

    /// What `LoadLibrary` gave.
    void* GetHandle() const { return handle_; }

    /// A text of the version resource, such as "FileVersion"; empty when there is none.
    std::string GetVersionText(std::string const& key) const;

private:
    void* handle_;
};

/// A renderer made and destroyed by the library's own constructor and destructor.
class LoadedRenderer {
public:
    explicit LoadedRenderer(LoadedModule const& module);
    ~LoadedRenderer();
    LoadedRenderer(LoadedRenderer const&) = delete;
    LoadedRenderer& operator=(LoadedRenderer const&) = delete;

    Media::RendererAudio& operator*() { return *renderer_; }
    Media::RendererAudio* operator->() { return renderer_; }

private:
    LoadedModule const& module_;
    Media::RendererAudio* renderer_;
};

} // namespace ContractTest
