#pragma once

// Runs what a host calls and keeps every exception from reaching it: `fallback` is returned
// instead.
template <class Result, class Callable>
Result Guarded(Result fallback, Callable&& callable) noexcept {
  try {
    return callable();
  } catch (...) {
    return fallback;
  }
}

// A host's text for a log line; hosts may hand over none.
inline const char* Shown(const char* text) { return text == nullptr ? "(null)" : text; }
