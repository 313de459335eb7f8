#include "conform/cases.h"
#include "conform/drive.h"

// The forms that a host shows its user.
namespace conform {
namespace {

const Json kAccountForm = Json::parse(R"form({"account": {
  "type": "group", "text": "Account", "order": ["account_id", "application_key"],
  "controls": {"account_id": {"type": "edit", "label": "Account ID"},
               "application_key": {"type": "password", "label": "Application Key"}}}})form");

const Json kOptionForm = Json::parse(R"form({
  "order": ["options", "bandwidth_options"],
  "options": {
    "type": "group", "text": "Options", "order": ["enable_delete_folder"],
    "controls": {"enable_delete_folder":
                  {"type": "checkbox", "text": "Enable delete folder", "default": false}}},
  "bandwidth_options": {
    "type": "group", "text": "Bandwidth", "order": ["speedlimit"],
    "controls": {"speedlimit": {
      "type": "edit", "label": "limit ( KB/s : 0 means unlimited )", "default": "0",
      "validator": {"type": "integer", "min_value": 0}}}}})form");

// Compact, members by name: as this parser writes it, too.
void Gives(const char* symbol, const Json& form) {
  const Module module;
  const auto get = module.Get<module_api::GetAuthFields>(symbol);
  const std::string wanted = form.dump();
  const int length = static_cast<int>(wanted.size());
  int size = 0;
  Equal("without room", get(nullptr, &size), INSUFFICIENT_BUFFER);
  Equal("the length it reports", size, length);
  std::string buffer(wanted.size() + 1, 'x');
  size = length - 1;
  Equal("with a byte too little", get(buffer.data(), &size), INSUFFICIENT_BUFFER);
  Equal("the length it reports then", size, length);
  Equal("the buffer then", buffer, std::string(wanted.size() + 1, 'x'));
  size = length + 1;
  Equal("with one more than the length", get(buffer.data(), &size), SUCCESS);
  Equal("the length on success", size, length);
  Equal("the form", std::string(buffer.c_str()), wanted);
}

}  // namespace

std::vector<Case> FormsCases() {
  return {{"forms.account", [] { Gives("GetAuthFields", kAccountForm); }},
          {"forms.options", [] { Gives("GetOptFields", kOptionForm); }}};
}

}  // namespace conform
