#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "loadedmodule.h"
#include "support/process/processresources.h"

namespace ContractTest {
namespace {

/// The names that hosts link to: the documented operations of the two exported classes, as the compilers for
/// this target mangle them. Constructor and destructor have two and three forms; virtual table and type
/// information belong to a class that is exported.
std::vector<std::string> const DocumentedExports = {
    "_ZN5Media13RendererAudioC1Ev",
    "_ZN5Media13RendererAudioC2Ev",
    "_ZN5Media13RendererAudioD0Ev",
    "_ZN5Media13RendererAudioD1Ev",
    "_ZN5Media13RendererAudioD2Ev",
    "_ZN5Media13RendererAudio8InstanceEv",
    "_ZN5Media13RendererAudio10InitializeEv",
    "_ZN5Media13RendererAudio8ShutdownEv",
    "_ZNK5Media13RendererAudio9IsEnabledEv",
    "_ZNK5Media13RendererAudio7GetTypeEv",
    "_ZNK5Media13RendererAudio10GetSubTypeEv",
    "_ZN5Media13RendererAudio15RegisterSessionERNS_23PipelineSessionParams_tERN5boost13intrusive_ptrINS_"
    "13PipelineStateEEE",
    "_ZN5Media13RendererAudio6DivideERKN5boost13intrusive_ptrINS_22PipelineStageRenderJobEEE",
    "_ZNK5Media13RendererAudio15GetCaptureProxyEv",
    "_ZNK5Media13RendererAudio21GetLineLevelCallbacksERKSt8functionIFbfEE",
    "_ZTVN5Media13RendererAudioE",
    "_ZTIN5Media13RendererAudioE",
    "_ZN5Media25RendererAudioCaptureProxyC1ERNS_26RendererAudioCaptureDeviceE",
    "_ZN5Media25RendererAudioCaptureProxyC2ERNS_26RendererAudioCaptureDeviceE",
    "_ZN5Media25RendererAudioCaptureProxyD1Ev",
    "_ZN5Media25RendererAudioCaptureProxyD2Ev",
    "_ZN5Media25RendererAudioCaptureProxy18StartBufferCaptureEv",
    "_ZN5Media25RendererAudioCaptureProxy17StopBufferCaptureEv",
    "_ZN5Media25RendererAudioCaptureProxy10ReadFramesERSt6vectorISt10shared_ptrINS_8FrameAudEESaIS4_EE",
    "_ZN5Media25RendererAudioCaptureProxy15SampleLineLevelEv",
    "_ZNK5Media25RendererAudioCaptureProxy12GetLineLevelEv",
    "_ZNK5Media25RendererAudioCaptureProxy13IsInitializedEv",
};

TEST(Library_Exports, AreTheDocumentedOnesAndNoOthers) {
    LoadedModule const module;

    EXPECT_THAT(module.GetExports(), testing::UnorderedElementsAreArray(DocumentedExports));
}

TEST(Library_VersionResource, NamesTheLibraryAndItsVersion) {
    LoadedModule const module;

    EXPECT_EQ(module.GetVersionText("OriginalFilename"), "rendereraudio.dll");
    EXPECT_EQ(module.GetVersionText("FileVersion"), RENDERERAUDIO_VERSION);
}

TEST(Library_LoadAndUnload, LeavesNoHandleAndNoThreadBehind) {
    // The first time brings in libraries that stay, the system's own among them.
    { LoadedModule const module; }
    std::uint32_t const handles = TestSupport::CountHandles();
    std::uint32_t const threads = TestSupport::CountThreads();

    for (int i = 0; i < 1000; ++i) {
        { LoadedModule const module; }
        ASSERT_FALSE(LoadedModule::IsLoaded());
    }

    EXPECT_LE(TestSupport::CountHandles(), handles + TestSupport::PassingResources);
    EXPECT_LE(TestSupport::CountThreads(), threads + TestSupport::PassingResources);
}

} // namespace
} // namespace ContractTest
