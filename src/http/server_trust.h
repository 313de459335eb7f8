#pragma once

#include <string>

#include "http/easy_handle.h"

// Servers are verified against cacert.pem in "../Frameworks/" beside the running program's folder.
// The directory is looked up once in the module's life: if it goes later, connections fail, and
// none goes unverified. For any number of threads.

// Whether the program has the directory. Says once in the log that it has none.
bool VerifiesServers();

// Makes the directory's certificates the trusted ones of the handle's connections. Only for a
// program that has the directory.
void TrustDirectory(const EasyHandle& easy);

// Makes those of the PEM file `file` trusted, too, by handles made from now on; empty: of no other
// file. When it cannot be read no server is trusted, and the log says so.
void TrustAlso(const std::string& file);
