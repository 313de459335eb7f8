#pragma once

#include "emulator/access.h"
#include "emulator/message.h"
#include "emulator/store.h"

namespace emulator {

// b2_upload_file and b2_upload_part: the request's body becomes a version or a part.
Answer UploadFile(Store& store, Access& access, const Incoming& incoming, BodySource& body);
Answer UploadPart(Store& store, Access& access, const Incoming& incoming, BodySource& body);

// GET, HEAD and POST by ID; GET and HEAD by name.
Answer DownloadById(Store& store, Access& access, const Incoming& incoming);
Answer DownloadByName(Store& store, Access& access, const Incoming& incoming);

}  // namespace emulator
