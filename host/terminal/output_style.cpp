#include "host/terminal/output_style.h"

namespace b2drive {
namespace {

OutputStyle& Style() {
  static OutputStyle style;
  return style;
}

}  // namespace

void SetOutputStyle(const OutputStyle& style) { Style() = style; }

const OutputStyle& TheOutputStyle() { return Style(); }

}  // namespace b2drive
