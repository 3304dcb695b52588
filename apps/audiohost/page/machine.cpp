#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <array>
#include <thread>

#include "output/devicelist.h"
#include "page/facts.h"

namespace AudioHost {

namespace {

constexpr std::uint64_t BytesPerMebibyte = 1024ULL * 1024ULL;

/// A text of the registry's part for the whole machine; "unknown" when it is not there.
std::string ReadText(char const* key, char const* name) {
    std::array<char, 256> text{};
    auto size = static_cast<DWORD>(text.size());
    LSTATUS const status =
        RegGetValueA(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ, nullptr, text.data(), &size);
    return status == ERROR_SUCCESS ? text.data() : "unknown";
}

/// Programs made for older versions are told of one of those: only the system's own function tells the truth.
std::string DescribeSystem() {
    HMODULE const system = GetModuleHandleA("ntdll.dll");
    using TellVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
    using TellWine = char const*(__cdecl*)();
    auto const tellVersion =
        reinterpret_cast<TellVersion>(reinterpret_cast<void*>(GetProcAddress(system, "RtlGetVersion")));
    auto const tellWine =
        reinterpret_cast<TellWine>(reinterpret_cast<void*>(GetProcAddress(system, "wine_get_version")));
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    std::string text = "Windows";
    if (tellVersion && tellVersion(&version) == 0) {
        text += " " + std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
                "." + std::to_string(version.dwBuildNumber);
    }
    return tellWine ? "Wine " + std::string(tellWine()) + " as " + text : text;
}

std::string DescribeProcessor() {
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    GlobalMemoryStatusEx(&memory);
    return ReadText("HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", "ProcessorNameString") + ", " +
           std::to_string(std::thread::hardware_concurrency()) + " cores, " +
           std::to_string(memory.ullTotalPhys / BytesPerMebibyte) + " MiB of memory";
}

std::string NamesOf(std::vector<SoundDevice> const& devices) {
    std::string names;
    for (SoundDevice const& device : devices) {
        if (!device.IsDefault()) {
            names += (names.empty() ? "" : "; ") + device.name;
        }
    }
    return names.empty() ? "none" : names;
}

} // namespace

std::vector<Fact> DescribeAll(std::string const& program, std::vector<std::string> const& arguments) {
    DeviceList const devices = ListDevices();
    std::vector<Fact> facts = DescribeProgram(program, arguments);
    facts.emplace_back("System", DescribeSystem());
    facts.emplace_back("Machine", DescribeProcessor());
    facts.emplace_back("Sound outputs", NamesOf(devices.outputs));
    facts.emplace_back("Sound inputs", NamesOf(devices.inputs));
    return facts;
}

} // namespace AudioHost
