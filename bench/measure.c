// measure RESULT PROGRAM ARGUMENTS...: runs a program to its end and writes "WALL CPU MAXRSS
// STATUS" to the file RESULT. Small on purpose: a program's peak memory starts out as that of the
// process it was forked from, so that a script's own size would hide it.

#include <spawn.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>

extern char** environ;

static double Seconds(struct timeval time) {
  return (double)time.tv_sec + (double)time.tv_usec / 1e6;
}

static double Now(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  pid_t child = 0;
  int status = 0;
  struct rusage usage;
  const double started = Now();
  if (posix_spawnp(&child, argv[2], NULL, NULL, argv + 2, environ) != 0) return 1;
  if (wait4(child, &status, 0, &usage) != child) return 1;
  const double wall = Now() - started;
  FILE* result = fopen(argv[1], "w");
  if (result == NULL) return 1;
  fprintf(result, "%.6f %.6f %ld %d\n", wall, Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
          usage.ru_maxrss, WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
  return fclose(result) == 0 ? 0 : 1;
}
