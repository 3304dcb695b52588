#pragma once

#include <string>

#include "page/reportmodel.h"

namespace AudioHost {

/// The model as JSON (docs/report.md), fit to stand in a page: nothing in it ends a script element, and bytes
/// that are no UTF-8 are replaced.
std::string FormatReportJson(ReportModel const& model);

/// The model as one self-contained page. It loads nothing from anywhere, its policy lets it load nothing but
/// sounds that lie beside it, and it shows at least the verdict and the sentences where scripts are switched
/// off.
std::string FormatReportPage(ReportModel const& model);

} // namespace AudioHost
