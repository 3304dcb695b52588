#pragma once

#include <string>
#include <vector>

namespace ContractTest {

// The tables of a library as it lies in memory. `module` is the handle that `LoadLibrary` gave.

/// Names in the export table, in its order.
std::vector<std::string> GetExportNames(void const* module);

/// Lets the library call `replacement` for the function `name` of `library`, such as "KERNEL32.dll", and
/// returns what it called before. Throws `std::runtime_error` when it imports no such function.
void* ReplaceImport(void const* module, std::string const& library, std::string const& name,
                    void* replacement);

} // namespace ContractTest
