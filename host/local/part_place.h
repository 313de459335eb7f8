#pragma once

#include <string_view>

#include "host/common/errors.h"
#include "host/common/unique_fd.h"
#include "host/local/local_target.h"

namespace b2drive {

// The names that part files stand under, and who may have put something there.

// A short name beside `target` that depends on `text` only.
LocalTarget HiddenName(const LocalTarget& target, std::string_view text, const char* ending);

// Opens what stands there, no link, for reading and writing, and locks it; nothing and an errno
// when it cannot be opened. Throws kLocalFile when another b2drive has it.
UniqueFd OpenLocked(const LocalTarget& at, int flags);

// Whether what is there is what `fd` has open.
bool StandsAt(int fd, const LocalTarget& at);

// Whether it is a regular file under this name only, which nobody else put there for us.
bool IsOurs(int fd, const LocalTarget& at);

HostError NoPart(const LocalTarget& at);
// Why OpenLocked could not open `part`.
HostError CannotOpen(const LocalTarget& target, const LocalTarget& part, int error);

void Unlink(const LocalTarget& at);

// Removes the hidden part files in `folder`, but for those that somebody is fetching to, for when
// nobody will go on with them. `shown` is the folder's path for messages.
void RemoveAbandonedParts(int folder, const std::filesystem::path& shown);

}  // namespace b2drive
