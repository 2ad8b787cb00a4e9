// Processor features on Windows: IsProcessorFeaturePresent.
#include <windows.h>

#include "platform/processor_features.h"

bool processor_has_dot_product() {
#if defined(__aarch64__) && defined(PF_ARM_V82_DP_INSTRUCTIONS_AVAILABLE)
  return IsProcessorFeaturePresent(PF_ARM_V82_DP_INSTRUCTIONS_AVAILABLE);
#else
  return false;
#endif
}
