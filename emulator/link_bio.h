#pragma once

#include "emulator/link.h"

struct bio_st;

namespace emulator {

// Has OpenSSL read and write over a link, which must outlive it. nullptr when there is no memory.
bio_st* NewLinkBio(Link& link);

}  // namespace emulator
