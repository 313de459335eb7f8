#pragma once

#include <string>
#include <vector>

#include "b2/backblaze_b2.h"
#include "b2/repeats.h"

// Finishes a large file whose parts are all there, again after what passes. The service may have
// done it while its answer was lost, and refuses to do it again when it is asked to, also by
// libcurl, which repeats on a new connection what a kept one did not answer: then it is asked
// whether the file is finished.
class BackBlazeB2::LargeFileEnd {
 public:
  // `file`: bucket and file ID; `sha1s`: of its parts, in order. `record` is filled. The protocol
  // object, the options and the record must outlive it.
  LargeFileEnd(BackBlazeB2& protocol, const Options& options, Stop stop, ItemPath file,
               std::vector<std::string> sha1s, _FS_FILE_V2& record);

  AERROR Run();
  bool gone() const { return gone_; }  // the service does not know it as unfinished any more

 private:
  AERROR Finish();
  AERROR Try();
  AERROR AskWhetherFinished();
  AERROR OnFinished(JsonObject& answer);

  BackBlazeB2& protocol_;
  const Options& options_;
  const Stop stop_;
  const ItemPath file_;
  const std::vector<std::string> sha1s_;
  _FS_FILE_V2& record_;
  Repeats repeats_;
  bool doubtful_ = false;
  bool gone_ = false;
};
