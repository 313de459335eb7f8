#include <cstdlib>
#include <cstring>

#include "b2/backblaze_b2.h"
#include "b2/guarded.h"
#include "plugin/module_globals.h"
#include "protocol/export.h"
#include "protocol/log.h"

// What a host resolves by name; the contract stands in protocol/module.h.

namespace {

constexpr int kSupports = 3;

}  // namespace

extern "C" {

B2_EXPORT int GetSupports() { return kSupports; }

B2_EXPORT char* GetSupportProtocol(char** out) {
  char* name = strdup(BackBlazeB2::kProtocolName);
  if (out != nullptr) *out = name;
  return name;
}

B2_EXPORT const char* GetProtocolVersion() { return protocol_version; }

B2_EXPORT bool GetProtocol(const char* identifier, IProtocolManager* manager, void** out) {
  return Guarded(false, [&] {
    if (out == nullptr) return false;
    *out = static_cast<IProtocol_V2*>(new BackBlazeB2(identifier, manager));
    return true;
  });
}

B2_EXPORT bool BindAsyncQ(IAsyncQ* queue) {
  if (queue == nullptr) return false;
  aq = queue;
  return true;
}

B2_EXPORT bool BindLogger(ILog* log) {
  if (log == nullptr) return false;
  logger = log;
  return true;
}

B2_EXPORT void UnbindAsyncQ() { aq = nullptr; }

B2_EXPORT void UnbindLogger() { logger = nullptr; }

B2_EXPORT void FreeP(void* memory) { std::free(memory); }

B2_EXPORT int GetAuthType() { return BackBlazeB2::GetAuthType(); }

B2_EXPORT AERROR GetAuthFields(char* buffer, int* size) {
  return Guarded(AERROR::FAILED, [&] { return BackBlazeB2::GetAuthFields(buffer, size); });
}

B2_EXPORT AERROR GetOptFields(char* buffer, int* size) {
  return Guarded(AERROR::FAILED, [&] { return BackBlazeB2::GetOptFields(buffer, size); });
}
}

// Under its decorated name on purpose: hosts resolve this one so.
B2_EXPORT void OnLoad() {}
