#pragma once

#include <stdio.h>
#include <sys/resource.h>
#include <time.h>

// What the measured clients share: the time of the job proper, without loading and connecting, and
// the places of its random reads.

struct JobClock {
  double wall;  // seconds
  double cpu;   // seconds, user and system, of the whole process
};

static inline double SecondsOf(struct timeval time) {
  return (double)time.tv_sec + (double)time.tv_usec / 1e6;
}

static inline struct JobClock StartJobClock(void) {
  struct timespec now;
  struct rusage usage;
  struct JobClock clock;
  clock_gettime(CLOCK_MONOTONIC, &now);
  getrusage(RUSAGE_SELF, &usage);
  clock.wall = (double)now.tv_sec + (double)now.tv_nsec / 1e9;
  clock.cpu = SecondsOf(usage.ru_utime) + SecondsOf(usage.ru_stime);
  return clock;
}

// Prints "WALL CPU" in seconds since `start`.
static inline void PrintJobClock(struct JobClock start) {
  const struct JobClock now = StartJobClock();
  printf("%.6f %.6f\n", now.wall - start.wall, now.cpu - start.cpu);
}

// Where the random read `index` begins: the same places in every client and run.
static inline long long BlockOffset(long index, long long file_bytes, long long block_bytes) {
  unsigned long long mixed = (unsigned long long)index * 0x9E3779B97F4A7C15ULL;
  mixed ^= mixed >> 31;
  mixed *= 0xBF58476D1CE4E5B9ULL;
  mixed ^= mixed >> 29;
  return (long long)(mixed % (unsigned long long)(file_bytes / block_bytes)) * block_bytes;
}
