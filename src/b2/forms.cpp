#include <algorithm>

#include "b2/backblaze_b2.h"
#include "b2/out_buffer.h"

// An edit's or password's caption stands in "label", a checkbox's in "text": hosts rely on it.

namespace {

constexpr char kAccountForm[] = R"form({
  "account": {
    "type": "group",
    "text": "Account",
    "controls": {
      "account_id": {"type": "edit", "label": "Account ID"},
      "application_key": {"type": "password", "label": "Application Key"}
    },
    "order": ["account_id", "application_key"]
  }
})form";

constexpr char kOptionForm[] = R"form({
  "options": {
    "type": "group",
    "text": "Options",
    "controls": {
      "enable_delete_folder": {
        "type": "checkbox",
        "text": "Enable delete folder",
        "default": false
      }
    },
    "order": ["enable_delete_folder"]
  },
  "bandwidth_options": {
    "type": "group",
    "text": "Bandwidth",
    "controls": {
      "speedlimit": {
        "type": "edit",
        "label": "limit ( KB/s : 0 means unlimited )",
        "default": "0",
        "validator": {"type": "integer", "min_value": 0}
      }
    },
    "order": ["speedlimit"]
  },
  "order": ["options", "bandwidth_options"]
})form";

// The whole of a buffer that is large enough is cleared first.
AERROR CopyForm(const char* form, char* buffer, int* size) {
  const std::string text = JsonObject(form).ToText();
  if (*size >= static_cast<int>(text.size())) std::fill_n(buffer, *size, '\0');
  return CopyOut(text, buffer, size);
}

}  // namespace

AERROR BackBlazeB2::GetAuthFields(char* buffer, int* size) {
  return CopyForm(kAccountForm, buffer, size);
}

AERROR BackBlazeB2::GetOptFields(char* buffer, int* size) {
  return CopyForm(kOptionForm, buffer, size);
}
