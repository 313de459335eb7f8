#include "host/commands/tree_progress.h"

namespace b2drive::cli {

TreeWatch MeasuredBy(ProgressBar& bar) {
  TreeWatch watch = CountedBy(bar);
  watch.found = [&bar](std::uint64_t bytes) { bar.Expect(static_cast<std::int64_t>(bytes), 1); };
  return watch;
}

TreeWatch CountedBy(ProgressBar& bar) {
  return {
      [&bar](std::uint64_t) { bar.Expect(0, 1); },
      [&bar](const std::string& file) { return std::make_shared<ProgressBar::File>(bar, file); }};
}

}  // namespace b2drive::cli
