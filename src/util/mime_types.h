#pragma once

#include <map>
#include <string>

#include "protocol/export.h"

// File-name extension, in lower case and without its dot, to MIME type. Filled when the module
// loads and never changed afterwards, so any thread may read it.
extern "C" B2_EXPORT std::map<std::string, std::string> ext_dict;

// What follows the last dot of `name`, which is empty after a dot at the end; without a dot the
// whole name.
B2_EXPORT std::string get_ext_from_filename(std::string name);

// The MIME type of a file called `name`, whatever the case of its extension. A name without a dot
// is looked up as an extension itself ("pdf"). "application/octet-stream" if the table has no row.
B2_EXPORT std::string get_mime_type_from_ext(std::string name);
