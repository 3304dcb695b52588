#include "commands/devices.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "support/testrenderer.h"

namespace AudioHost {

namespace {

DeviceList MakeList() {
    return {{{"Primary Sound Driver", "", ""}, {"Lautsprecher (Tür)", "wine.drv", "{A}"}},
            {{"Primary Sound Capture Driver", "", ""}}};
}

struct DevicesFixture {
    TestRenderer renderer;
    StopSignal stop;
    std::ostringstream out;
    std::ostringstream json;
    Telling telling;

    ExitCode_t Run(DeviceList const& list) {
        Surroundings surroundings{renderer, stop, out};
        surroundings.json = telling.isJson ? &json : nullptr;
        return Devices(list, telling, surroundings);
    }
};

} // namespace

TEST(Devices, ListsThemAndMarksTheDefault) {
    DevicesFixture fixture;
    EXPECT_EQ(fixture.Run(MakeList()), ExitCode_t::Ok);
    EXPECT_EQ(fixture.out.str(),
              "Outputs\n"
              "  Primary Sound Driver (the default, which the renderer takes)\n"
              "  Lautsprecher (Tür)\n"
              "Inputs\n"
              "  Primary Sound Capture Driver (the default, which the renderer takes)\n");
}

TEST(Devices, VerboseNamesTheDriver) {
    DevicesFixture fixture;
    fixture.telling.isVerbose = true;
    fixture.Run(MakeList());
    EXPECT_NE(fixture.out.str().find("\n  Lautsprecher (Tür)  wine.drv  {A}\n"), std::string::npos);
}

TEST(Devices, AreAnObjectWhereOneIsAskedFor) {
    DevicesFixture fixture;
    fixture.telling.isJson = true;
    EXPECT_EQ(fixture.Run(MakeList()), ExitCode_t::Ok);
    EXPECT_EQ(fixture.out.str(), "");
    auto const object = nlohmann::json::parse(fixture.json.str());
    EXPECT_EQ(object["outputs"][0]["isDefault"], true);
    EXPECT_EQ(object["outputs"][1]["name"], "Lautsprecher (Tür)");
    EXPECT_EQ(object["inputs"].size(), 1U);
}

TEST(Devices, ThatAreMissingAreTheExitCode) {
    DevicesFixture fixture;
    DeviceList list = MakeList();
    list.inputs.clear();
    EXPECT_EQ(fixture.Run(list), ExitCode_t::NoInput);
    EXPECT_NE(fixture.out.str().find("Inputs\n  none\n"), std::string::npos);
    EXPECT_EQ(fixture.Run({}), ExitCode_t::NoOutput);
}

} // namespace AudioHost
