#include "conform/cases.h"

#include <iterator>

namespace conform {

const std::vector<Case>& AllCases() {
  static const std::vector<Case> all = [] {
    std::vector<Case> cases;
    for (auto* const group : {ExportsCases, FormsCases, ObjectCases, ConnectCases, ListingCases,
                              InfoCases, ReadingCases, UploadingCases, DeletingCases, OptionsCases,
                              FaultsCases, LogCases, ThreadsCases, LifeCases, SlowCases}) {
      auto rows = group();
      std::move(rows.begin(), rows.end(), std::back_inserter(cases));
    }
    return cases;
  }();
  return all;
}

}  // namespace conform
