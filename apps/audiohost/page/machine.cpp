// windows.h must come before mmsystem.h, and that before dsound.h.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <mmsystem.h>

#include <dsound.h>

#include <array>
#include <thread>

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

/// The code page's text in UTF-8.
std::string ToUtf8(char const* text) {
    std::array<wchar_t, 256> wide{};
    std::array<char, 768> narrow{};
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), static_cast<int>(wide.size()));
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), -1, narrow.data(), static_cast<int>(narrow.size()), nullptr,
                        nullptr);
    return narrow.data();
}

/// The entry without a GUID stands for whichever is the default.
BOOL CALLBACK AddName(GUID* guid, char const* description, char const* /*module*/, void* names) {
    if (guid && description) {
        std::string& text = *static_cast<std::string*>(names);
        text += (text.empty() ? "" : "; ") + ToUtf8(description);
    }
    return TRUE;
}

} // namespace

std::vector<Fact> DescribeAll(std::string const& program, std::vector<std::string> const& arguments) {
    std::string outputs;
    std::string inputs;
    DirectSoundEnumerateA(AddName, &outputs);
    DirectSoundCaptureEnumerateA(AddName, &inputs);
    std::vector<Fact> facts = DescribeProgram(program, arguments);
    facts.emplace_back("System", DescribeSystem());
    facts.emplace_back("Machine", DescribeProcessor());
    facts.emplace_back("Sound outputs", outputs.empty() ? "none" : outputs);
    facts.emplace_back("Sound inputs", inputs.empty() ? "none" : inputs);
    return facts;
}

} // namespace AudioHost
