#pragma once

#include <vector>

#include "conform/check.h"

namespace conform {

// Each group stands in a file of its name in cases/.
std::vector<Case> ConnectCases();
std::vector<Case> DeletingCases();
std::vector<Case> ExportsCases();
std::vector<Case> FaultsCases();
std::vector<Case> FormsCases();
std::vector<Case> InfoCases();
std::vector<Case> ListingCases();
std::vector<Case> LifeCases();
std::vector<Case> LogCases();
std::vector<Case> ObjectCases();
std::vector<Case> OptionsCases();
std::vector<Case> ReadingCases();
std::vector<Case> SlowCases();
std::vector<Case> ThreadsCases();
std::vector<Case> UploadingCases();

// All, in the order in which they run.
const std::vector<Case>& AllCases();

}  // namespace conform
