#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "loadedmodule.h"
#include "names.h"
#include "support/process/processresources.h"

namespace ContractTest {
namespace {

TEST(Library_Exports, AreTheDocumentedOnesAndNoOthers) {
    LoadedModule const module;
    std::vector<std::string> documented = {
        Names::RendererConstructor,
        Names::RendererDestructor,
        Names::Instance,
        Names::GetType,
        Names::GetSubType,
        Names::GetCaptureProxy,
        Names::GetLineLevelCallbacks,
        Names::StartBufferCapture,
        Names::StopBufferCapture,
        Names::ReadFrames,
        Names::SampleLineLevel,
        Names::GetLineLevel,
        Names::IsInitialized,
    };
    documented.insert(documented.end(), Names::Others.begin(), Names::Others.end());

    EXPECT_THAT(module.GetExports(), testing::UnorderedElementsAreArray(documented));
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
