#include "kovra/configitem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Kovra::LogManager;

TEST(ConfigItem, LibrariesThatIncludeItHaveItsLoggerFromLoadOn) {
    ASSERT_TRUE(Kovra::ConfigItemLogger);
    EXPECT_EQ(Kovra::ConfigItemLogger->GetChannel(), "Kovra.ConfigItem");
    EXPECT_EQ(Kovra::ConfigItemLogger, LogManager::Instance().GetLogger("Kovra.ConfigItem", nullptr, ""));
    EXPECT_THAT(LogManager::Instance().GetChannels(), testing::Contains("Kovra.ConfigItem"));
}
