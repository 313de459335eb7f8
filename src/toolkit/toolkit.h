#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>

#include "protocol/export.h"

// Helpers that the module offers beside its protocol: hashes, request signing and processes. All of
// them may be called from any thread. Texts and digests are bytes in a std::string; no function
// throws but for lack of memory.

// SHA-256 of `data`: 32 bytes, or 64 lower-case hexadecimal digits.
B2_EXPORT std::string sha256(const std::string& data);
B2_EXPORT std::string sha256_base16(const std::string& data);

// HMAC-SHA256 of `data` under `key`: 32 bytes, or 64 lower-case hexadecimal digits.
B2_EXPORT std::string hmac(const std::string& key, const std::string& data);
B2_EXPORT std::string hmacHex(const std::string& key, const std::string& data);

// A request as the signed-header scheme AWS4-HMAC-SHA256 sees it.
struct signing_request {
  std::string method;  // In upper case.
  std::string url;     // Absolute; path and query percent-encoded where they need it.
  // Headers to sign. The names' case does not matter; "host" comes from the URL when it is missing.
  std::map<std::string, std::string> headers;
  std::string payload_hash;  // sha256_base16 of the body.
};

// Where and when a signature holds.
struct signing_scope {
  std::string time;  // 20150830T123600Z; its first eight characters are the date of the scope.
  std::string region;
  std::string service;
};

// The request in the scheme's normal form: method, path, sorted query, sorted headers, the names of
// the signed headers and the payload's hash. The path is encoded once and keeps its dot segments
// and doubled slashes, which can be part of an object's name. Empty when the URL does not parse or
// has no host.
B2_EXPORT std::string canonical_request(const signing_request& request);

// The names of the signed headers, in lower case, sorted and separated by ";". Empty under the same
// conditions.
B2_EXPORT std::string signed_headers(const signing_request& request);

// What the signature is made of: algorithm, time, scope and the canonical request's hash.
B2_EXPORT std::string string_to_sign(const signing_scope& scope, const std::string& canonical);

// The key for one day, region and service: 32 bytes.
B2_EXPORT std::string signing_key(const std::string& secret, const signing_scope& scope);

// The signature of `request` in lower-case hexadecimal digits; empty under the conditions of
// canonical_request.
B2_EXPORT std::string request_signature(const signing_request& request, const signing_scope& scope,
                                        const std::string& secret);

// Section name to key to value. Keys before the first section stand in section "".
using ini_sections = std::map<std::string, std::map<std::string, std::string>>;

// Reads lines of the forms [section] and key=value; blank lines and lines that start with ";" or
// "#" are skipped. White space around sections, keys and values is dropped; the last of equal keys
// wins. Nothing when the file cannot be read or holds another kind of line.
B2_EXPORT std::optional<ini_sections> read_ini_file(const std::string& path);

struct command_result {
  int status;          // Exit status, 128 + signal for a killed command, -1 if it did not run.
  std::string output;  // Standard output up to its end or to a read error.
};

// Runs `command` in the system's shell and waits for it. Standard error is not collected.
B2_EXPORT command_result run_command(const std::string& command);

// A random UUID (version 4) in lower case; empty when the system has no randomness to give.
B2_EXPORT std::string new_uuid();

// Whether a process of this id exists, also one that this process may not signal or one that has
// ended but was not waited for. False for ids that mean groups (zero and below).
B2_EXPORT bool is_process_alive(pid_t id);
