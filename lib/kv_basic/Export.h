#pragma once

// KV_EXPORT marks the classes and functions that form the shared library's
// interface. Everything else is compiled with hidden visibility.
#if defined(_WIN32)
#  if defined(KV_BUILDING_LIBRARY)
#    define KV_EXPORT __declspec(dllexport)
#  else
#    define KV_EXPORT __declspec(dllimport)
#  endif
#else
#  define KV_EXPORT __attribute__((visibility("default")))
#endif
