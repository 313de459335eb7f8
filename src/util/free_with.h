#pragma once

namespace util {

// The deleter of a std::unique_ptr on what a C library hands out with a function to free it.
template <auto Free>
struct FreeWith {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};

}  // namespace util
