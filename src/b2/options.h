#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/thread_safety.h"
#include "engine/query_logger.h"

// What a listing shows, and what an identifier that it gave means.
enum class View { kFiles, kVersions, kUnfinished };

// What a host has set on a protocol object. An operation takes the options of its beginning and
// hands them down to all that it calls, so that it never sees half a change.
struct Options {
  std::string account_id;
  std::string application_key;
  bool enable_delete_folder = true;
  std::int64_t speed_limit = 0;  // bytes per second of one transfer; 0 is unlimited
  long low_speed_limit = 1;      // bytes per second; a transfer that stays below it times out
  std::shared_ptr<IQueryLogger> query_logger;
  bool delete_if_unchanged = false;  // delete a file only if its record names the newest version
  bool exact_delete = false;         // delete exactly the named file, page versions without repeats
  bool find_by_name = false;         // GetFileInfo looks a file up by its name in a folder
  bool strict_answers = false;       // believe no range and no cursor unseen
  bool keep_times = false;           // the second time is the source's, stored with the file
  bool hide_on_delete = false;       // Delete and DeleteDirectory hide names
  bool server_copy = false;          // renaming and moving by a copy on the service
  bool copy_only = false;            // which leaves what it copies
  int copy_connections = 4;          // copies at once
  long long copy_part_size = 0;      // bytes; larger files are copied in parts; 0: 5 GB
  bool file_details = false;         // a record's texts tell and take what is stored with the file
  View view = View::kFiles;
  std::string view_name;  // the one last name that the other views show; empty: all

  bool reuse_upload_urls = false;
  long long upload_part_size = 0;      // bytes; 0: what the service recommends
  long long upload_part_size_max = 0;  // bytes; what parts of long files grow to
  int upload_connections = 1;
  bool cancel_failed_uploads = false;  // a large file that is given up goes from the service
  bool resume_uploads = false;         // or stays, and the next try sends what it lacks
  bool verify_uploads = false;         // send each body's digest behind it
  bool hash_before = false;            // and a large file's whole digest ahead of its parts

  // Whether one of them asks for uploads in parts that may go at once, with all that belongs to it.
  bool UploadsInParts() const {
    return upload_part_size != 0 || upload_connections > 1 || resume_uploads || verify_uploads;
  }
};

// The options of now. For any number of threads.
class CurrentOptions {
 public:
  std::shared_ptr<const Options> Get() const {
    const base::Lock lock(mutex_);
    return options_;
  }

  // `change` is called with the options to be changed; what it did before it threw counts.
  template <class Callable>
  void Change(Callable&& change) {
    const base::Lock lock(mutex_);
    const auto changed = std::make_shared<Options>(*options_);
    options_ = changed;  // nobody can look before the lock is given back
    change(*changed);
  }

 private:
  mutable base::Mutex mutex_;
  std::shared_ptr<const Options> options_ B2_GUARDED_BY(mutex_) = std::make_shared<Options>();
};
