#pragma once

#define LUMORA_VERSION_MAJOR 1
#define LUMORA_VERSION_MINOR 0
#define LUMORA_VERSION_PATCH 0
// One number that grows with every release: major * 10000 + minor * 100 + patch.
#define LUMORA_VERSION \
  (LUMORA_VERSION_MAJOR * 10000 + LUMORA_VERSION_MINOR * 100 + LUMORA_VERSION_PATCH)
