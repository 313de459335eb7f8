#pragma once

#include <string>

namespace util {

// Whether a TLS library of this name and version ("OpenSSL/3.0.19") is the one that this module is
// built for, so that ShareCaStore may be given its contexts.
bool IsOwnTlsLibrary(const std::string& name_and_version);

// Makes the certificates of the PEM file `directory`/cacert.pem, and those that stand in
// `directory` under their hashed names, the trusted ones of a context (an SSL_CTX*). False when the
// file cannot be read. All contexts share one parsed store, made anew when the file has changed:
// parsing a system's bundle takes longer than a hundred requests, and holds a MiB. `directory` is
// the same in every call. For any number of threads.
bool ShareCaStore(void* context, const std::string& directory);

// Contexts made from now on trust the certificates of the PEM file `file`, too; empty: of no other
// file. When it cannot be read no certificate is trusted, and it is false. For any number of
// threads.
bool TrustAlso(const std::string& file);
// What it was last given.
std::string AlsoTrusted();

}  // namespace util
