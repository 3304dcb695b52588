#pragma once

#include <vector>

#include "model/comparison/difference.h"
#include "model/trace.h"
#include "simulation/world.h"
#include "support/module/fakecodec.h"

namespace ModelTest {

/// What the module does to the world outside in a step: its calls of the platform, its log records, its
/// requests to the codec.
///
/// **Ownership:** borrows the world, and is the program's log observer and codec while it lives.
class ModuleTrace {
public:
    explicit ModuleTrace(Simulation::World& world);
    ~ModuleTrace();
    ModuleTrace(ModuleTrace const&) = delete;
    ModuleTrace& operator=(ModuleTrace const&) = delete;

    /// Forgets the calls and requests so far.
    void Clear();
    /// Plans the faults that a call can have, and gives those.
    std::vector<Fault> Plan(std::vector<Fault> const& faults);
    /// Compares a step's calls and requests.
    void Compare(Trace const& expected, Difference& difference);
    /// Compares the log records of all steps since the last time. Waits for the log's thread, and so is not
    /// for every step.
    void CompareLogs(Difference& difference);

    UnitTest::FakeCodec codec;

private:
    Simulation::World& world_;
    std::vector<LogLine> logs_;
    std::vector<LogLine> expectedLogs_;
};

} // namespace ModelTest
