#pragma once

// Symbols of the public API are exported from the shared library; everything
// else is hidden.
#if defined(LUMORA_STATIC_DEFINE)
#define LUMORA_EXPORT
#else
#define LUMORA_EXPORT __attribute__((visibility("default")))
#endif
