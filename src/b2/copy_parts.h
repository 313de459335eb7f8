#pragma once

#include <string>

#include "b2/backblaze_b2.h"
#include "b2/part_board.h"
#include "b2/workers.h"

class Repeats;

// Copies a file on the service by parts, several at once, as one that is too large for a single
// copy needs it. What fails is canceled.
class BackBlazeB2::PartsCopy {
 public:
  // All references must outlive it. `source`: identifier and size. `out` is filled.
  PartsCopy(BackBlazeB2& protocol, const Options& options, const _FS_FILE_V2& source,
            const ItemPath& target, long long part_size, _FS_FILE_V2& out);
  ~PartsCopy();

  // Null: with the source's attributes.
  AERROR Run(const FileAttributes* attributes);

 private:
  AERROR ReadAttributes(FileAttributes& attributes);
  AERROR Start(const FileAttributes& attributes);
  AERROR CopyAll();
  AERROR CopyPart(const Part& part);
  AERROR Attempt(const Part& part, Repeats& repeats);

  BackBlazeB2& protocol_;
  const Options& options_;
  const std::string source_id_;
  const ItemPath& target_;
  _FS_FILE_V2& out_;
  const PartPlan plan_;
  Workers workers_;
  const Stop stop_;
  PartBoard board_;
  std::string file_id_;  // claimed while it is not empty
  bool finished_ = false;
};
