#include <openssl/rand.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>

#include "toolkit/toolkit.h"
#include "util/strings.h"

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
  return string_format("%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0],
                       b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12],
                       b[13], b[14], b[15]);
}

bool is_process_alive(pid_t id) { return id > 0 && (kill(id, 0) == 0 || errno == EPERM); }
