#pragma once

#include <array>

namespace ContractTest {

/// What the shipped library exports, which is what hosts link to, and what it asks of the host's base
/// library, by the names that the compilers make of them.
namespace Names {

constexpr char const* Base = "kovra.dll";

#if defined(_MSC_VER)

constexpr char const* SetThreadName = "?SetThreadName@Kovra@@YAXPEBD@Z";
constexpr char const* SetThreadPriority = "?SetThreadPriority@Kovra@@YAXW4ThreadPriority_t@1@@Z";

constexpr char const* RendererConstructor = "??0RendererAudio@Media@@QEAA@XZ";
constexpr char const* RendererDestructor = "??1RendererAudio@Media@@UEAA@XZ";
constexpr char const* Instance = "?Instance@RendererAudio@Media@@SAPEBV12@XZ";
constexpr char const* GetType =
    "?GetType@RendererAudio@Media@@UEBA?AW4Type_t@Params_t@IPipelineRenderer@2@XZ";
constexpr char const* GetSubType =
    "?GetSubType@RendererAudio@Media@@UEBA?AW4SubType_t@Params_t@IPipelineRenderer@2@XZ";
constexpr char const* GetCaptureProxy =
    "?GetCaptureProxy@RendererAudio@Media@@QEBA?AV?$shared_ptr@VRendererAudioCaptureProxy@Media@@@std@@XZ";
constexpr char const* GetLineLevelCallbacks =
    "?GetLineLevelCallbacks@RendererAudio@Media@@QEBA_NAEBV?$function@$$A6A_NM@Z@std@@@Z";

constexpr char const* StartBufferCapture = "?StartBufferCapture@RendererAudioCaptureProxy@Media@@QEAAXXZ";
constexpr char const* StopBufferCapture = "?StopBufferCapture@RendererAudioCaptureProxy@Media@@QEAAXXZ";
constexpr char const* ReadFrames =
    "?ReadFrames@RendererAudioCaptureProxy@Media@@QEAAHAEAV?$vector@V?$shared_ptr@VFrameAud@Media@@@std@@V?$"
    "allocator@V?"
    "$shared_ptr@VFrameAud@Media@@@std@@@2@@std@@@Z";
constexpr char const* SampleLineLevel = "?SampleLineLevel@RendererAudioCaptureProxy@Media@@QEAAHXZ";
constexpr char const* GetLineLevel = "?GetLineLevel@RendererAudioCaptureProxy@Media@@QEBAMXZ";
constexpr char const* IsInitialized = "?IsInitialized@RendererAudioCaptureProxy@Media@@QEBA_NXZ";

/// What nobody here calls by its name; the virtual table belongs to a class that is exported.
constexpr std::array<char const*, 8> Others = {
    "?Initialize@RendererAudio@Media@@UEAAHXZ",
    "?Shutdown@RendererAudio@Media@@UEAAXXZ",
    "?IsEnabled@RendererAudio@Media@@UEBA_NXZ",
    "?RegisterSession@RendererAudio@Media@@UEAAXAEAUPipelineSessionParams_t@2@AEAV?$intrusive_ptr@"
    "VPipelineState@Media@@"
    "@boost@@@Z",
    "?Divide@RendererAudio@Media@@UEAAXAEBV?$intrusive_ptr@VPipelineStageRenderJob@Media@@@boost@@@Z",
    "??_7RendererAudio@Media@@6B@",
    "??0RendererAudioCaptureProxy@Media@@QEAA@AEAVRendererAudioCaptureDevice@1@@Z",
    "??1RendererAudioCaptureProxy@Media@@QEAA@XZ",
};

#else

constexpr char const* SetThreadName = "_ZN5Kovra13SetThreadNameEPKc";
constexpr char const* SetThreadPriority = "_ZN5Kovra17SetThreadPriorityENS_16ThreadPriority_tE";

constexpr char const* RendererConstructor = "_ZN5Media13RendererAudioC1Ev";
constexpr char const* RendererDestructor = "_ZN5Media13RendererAudioD1Ev";
constexpr char const* Instance = "_ZN5Media13RendererAudio8InstanceEv";
constexpr char const* GetType = "_ZNK5Media13RendererAudio7GetTypeEv";
constexpr char const* GetSubType = "_ZNK5Media13RendererAudio10GetSubTypeEv";
constexpr char const* GetCaptureProxy = "_ZNK5Media13RendererAudio15GetCaptureProxyEv";
constexpr char const* GetLineLevelCallbacks =
    "_ZNK5Media13RendererAudio21GetLineLevelCallbacksERKSt8functionIFbfEE";

constexpr char const* StartBufferCapture = "_ZN5Media25RendererAudioCaptureProxy18StartBufferCaptureEv";
constexpr char const* StopBufferCapture = "_ZN5Media25RendererAudioCaptureProxy17StopBufferCaptureEv";
constexpr char const* ReadFrames =
    "_ZN5Media25RendererAudioCaptureProxy10ReadFramesERSt6vectorISt10shared_ptrINS_8FrameAudEESaIS4_EE";
constexpr char const* SampleLineLevel = "_ZN5Media25RendererAudioCaptureProxy15SampleLineLevelEv";
constexpr char const* GetLineLevel = "_ZNK5Media25RendererAudioCaptureProxy12GetLineLevelEv";
constexpr char const* IsInitialized = "_ZNK5Media25RendererAudioCaptureProxy13IsInitializedEv";

/// What nobody here calls by its name. Constructor and destructor have two and three forms; virtual table and
/// type information belong to a class that is exported.
constexpr std::array<char const*, 14> Others = {
    "_ZN5Media13RendererAudioC2Ev",
    "_ZN5Media13RendererAudioD0Ev",
    "_ZN5Media13RendererAudioD2Ev",
    "_ZN5Media13RendererAudio10InitializeEv",
    "_ZN5Media13RendererAudio8ShutdownEv",
    "_ZNK5Media13RendererAudio9IsEnabledEv",
    "_ZN5Media13RendererAudio15RegisterSessionERNS_23PipelineSessionParams_tERN5boost13intrusive_ptrINS_"
    "13PipelineStateEEE",
    "_ZN5Media13RendererAudio6DivideERKN5boost13intrusive_ptrINS_22PipelineStageRenderJobEEE",
    "_ZTVN5Media13RendererAudioE",
    "_ZTIN5Media13RendererAudioE",
    "_ZN5Media25RendererAudioCaptureProxyC1ERNS_26RendererAudioCaptureDeviceE",
    "_ZN5Media25RendererAudioCaptureProxyC2ERNS_26RendererAudioCaptureDeviceE",
    "_ZN5Media25RendererAudioCaptureProxyD1Ev",
    "_ZN5Media25RendererAudioCaptureProxyD2Ev",
};

#endif

} // namespace Names
} // namespace ContractTest
