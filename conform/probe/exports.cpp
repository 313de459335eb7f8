#include <cstdlib>
#include <cstring>
#include <string>

#include "conform/probe/object.h"
#include "conform/probe/orders.h"
#include "protocol/export.h"
#include "protocol/module.h"

// Misdeeds of the functions stand with them.

using probe::Orders;

namespace {

AERROR Form(const char* function, const std::string& form, char* buffer, int* size) {
  const Orders orders(function);
  const std::string text = orders.Has("no-json") ? "no {JSON" : form;
  const bool fits = *size >= static_cast<int>(text.size());
  *size = static_cast<int>(orders.Number("size", static_cast<long>(text.size())));
  if (orders.Has("code")) return static_cast<AERROR>(orders.Number("code", FAILED));
  if (!fits) return INSUFFICIENT_BUFFER;
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return SUCCESS;
}

}  // namespace

extern "C" {

B2_EXPORT int GetSupports() { return 3; }

// null, other (another protocol)
B2_EXPORT char* GetSupportProtocol(char** out) {
  const Orders orders("GetSupportProtocol");
  *out = orders.Has("null") ? nullptr : strdup(orders.Has("other") ? "other" : "backblazeb2");
  return *out;
}

// null
B2_EXPORT const char* GetProtocolVersion() {
  return Orders("GetProtocolVersion").Has("null") ? nullptr : "1.0.0";
}

// refuse, null (true, and no object)
B2_EXPORT bool GetProtocol(const char*, IProtocolManager* manager, void** out) {
  const Orders orders("GetProtocol");
  if (orders.Has("refuse")) return false;
  char text[256];
  int size = sizeof text;
  if (manager != nullptr) manager->GetText("probe", text, &size);
  *out = orders.Has("null") ? nullptr : static_cast<IProtocol_V2*>(new probe::Probe);
  return true;
}

B2_EXPORT bool BindAsyncQ(IAsyncQ* queue) { return queue != nullptr; }

B2_EXPORT bool BindLogger(ILog* log) {
  if (log != nullptr) probe::host_log = log;
  return log != nullptr;
}

B2_EXPORT void UnbindAsyncQ() {}

B2_EXPORT void UnbindLogger() { probe::host_log = nullptr; }

B2_EXPORT void FreeP(void* memory) { std::free(memory); }

B2_EXPORT int GetAuthType() { return 4; }

// Both: no-json, size (reports that length), code
B2_EXPORT AERROR GetAuthFields(char* buffer, int* size) {
  return Form("GetAuthFields",
              R"({"account":{"controls":{"account_id":{"label":"Account ID","type":"edit"},)"
              R"("application_key":{"label":"Application Key","type":"password"}},)"
              R"("order":["account_id","application_key"],"text":"Account","type":"group"}})",
              buffer, size);
}

B2_EXPORT AERROR GetOptFields(char* buffer, int* size) {
  return Form("GetOptFields", "{\"order\":[]}", buffer, size);
}
}

B2_EXPORT void OnLoad() {}
