#include <gtest/gtest.h>

#include <cstring>

#include "extent.h"

namespace ClosedLoop {

Extent& Extent::Get() {
    static Extent extent;
    return extent;
}

} // namespace ClosedLoop

// As GoogleTest's own, with two options more, which are known before the cases are made.
int main(int argumentCount, char** arguments) {
    for (int i = 1; i < argumentCount; ++i) {
        if (std::strcmp(arguments[i], "--all-cases") == 0) {
            ClosedLoop::Extent::Get().hasAllCases = true;
        } else if (std::strcmp(arguments[i], "--long") == 0) {
            ClosedLoop::Extent::Get().MakeLong();
        }
    }
    ::testing::InitGoogleTest(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
