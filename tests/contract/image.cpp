#include "image.h"

#include <windows.h>

#include <cstdint>
#include <stdexcept>

namespace ContractTest {

namespace {

template <class T>
T const* At(void const* module, DWORD offset) {
    return reinterpret_cast<T const*>(static_cast<std::uint8_t const*>(module) + offset);
}

IMAGE_NT_HEADERS64 const& HeadersOf(void const* module) {
    auto const& dos = *At<IMAGE_DOS_HEADER>(module, 0);
    return *At<IMAGE_NT_HEADERS64>(module, static_cast<DWORD>(dos.e_lfanew));
}

/// One of the library's tables; null when it has none of the kind.
template <class T>
T const* Directory(void const* module, std::size_t kind) {
    DWORD const place = HeadersOf(module).OptionalHeader.DataDirectory[kind].VirtualAddress;
    return place == 0 ? nullptr : At<T>(module, place);
}

/// Where the address of an imported function stands; null when `table`, one library's imports, has it not.
ULONGLONG const* FindImport(void const* module, IMAGE_IMPORT_DESCRIPTOR const& table,
                            std::string const& name) {
    auto const* lookup = At<IMAGE_THUNK_DATA64>(module, table.OriginalFirstThunk);
    auto const* slot = At<IMAGE_THUNK_DATA64>(module, table.FirstThunk);
    for (; lookup->u1.AddressOfData != 0; ++lookup, ++slot) {
        if (!IMAGE_SNAP_BY_ORDINAL64(lookup->u1.Ordinal) &&
            name == At<IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(lookup->u1.AddressOfData))->Name) {
            return &slot->u1.Function;
        }
    }
    return nullptr;
}

} // namespace

std::vector<std::string> GetExportNames(void const* module) {
    auto const* const table = Directory<IMAGE_EXPORT_DIRECTORY>(module, IMAGE_DIRECTORY_ENTRY_EXPORT);
    if (table == nullptr) {
        return {};
    }
    auto const* const names = At<DWORD>(module, table->AddressOfNames);
    std::vector<std::string> exports;
    for (DWORD i = 0; i < table->NumberOfNames; ++i) {
        exports.emplace_back(At<char>(module, names[i]));
    }
    // One without a name would be one that this list hides.
    if (table->NumberOfFunctions != table->NumberOfNames) {
        exports.emplace_back("(exports without a name)");
    }
    return exports;
}

void* ReplaceImport(void const* module, std::string const& library, std::string const& name,
                    void* replacement) {
    auto const* table = Directory<IMAGE_IMPORT_DESCRIPTOR>(module, IMAGE_DIRECTORY_ENTRY_IMPORT);
    ULONGLONG const* slot = nullptr;
    for (; table != nullptr && table->Name != 0 && slot == nullptr; ++table) {
        if (library == At<char>(module, table->Name)) {
            slot = FindImport(module, *table, name);
        }
    }
    if (slot == nullptr) {
        throw std::runtime_error("no import of " + name + " from " + library);
    }
    auto* const place = const_cast<ULONGLONG*>(slot);
    auto* const before = reinterpret_cast<void*>(*place);
    DWORD protection = 0;
    VirtualProtect(place, sizeof(*place), PAGE_READWRITE, &protection);
    *place = reinterpret_cast<ULONGLONG>(replacement);
    VirtualProtect(place, sizeof(*place), protection, &protection);
    return before;
}

} // namespace ContractTest
