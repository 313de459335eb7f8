// jemalloc reads it before main. Two heaps, and only the smallest objects in a thread's own cache:
// a mount has dozens of threads that each allocate a little, and they hold 5 MiB otherwise.
extern "C" [[gnu::visibility("default")]] const char* const malloc_conf;
extern "C" const char* const malloc_conf = "narenas:2,lg_tcache_max:8";
