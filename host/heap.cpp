// jemalloc reads it before main. One heap for every few threads: the many threads of a mount that
// each allocate a little need much otherwise.
extern "C" [[gnu::visibility("default")]] const char* const malloc_conf;
extern "C" const char* const malloc_conf = "narenas:4";
