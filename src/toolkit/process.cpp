#include <openssl/rand.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>

#include "toolkit/toolkit.h"
#include "util/hex.h"

namespace {

int StatusOf(int wait_status) {
  if (WIFEXITED(wait_status)) return WEXITSTATUS(wait_status);
  return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : -1;
}

}  // namespace

command_result run_command(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return {-1, {}};
  command_result result;
  char piece[4096];
  while (const std::size_t length = std::fread(piece, 1, sizeof piece, pipe)) {
    result.output.append(piece, length);
  }
  result.status = StatusOf(pclose(pipe));
  return result;
}

std::string new_uuid() {
  unsigned char b[16];
  if (RAND_bytes(b, sizeof b) != 1) return {};
  b[6] = static_cast<unsigned char>((b[6] & 0x0F) | 0x40);  // Version 4.
  b[8] = static_cast<unsigned char>((b[8] & 0x3F) | 0x80);  // The variant whose versions these are.
  std::string text = util::LowerHex({reinterpret_cast<const char*>(b), sizeof b});
  for (const std::size_t hyphen : {8U, 13U, 18U, 23U}) text.insert(hyphen, 1, '-');
  return text;
}

bool is_process_alive(pid_t id) { return id > 0 && (kill(id, 0) == 0 || errno == EPERM); }
