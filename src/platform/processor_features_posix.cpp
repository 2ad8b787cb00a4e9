// Processor features on Linux (the kernel's hardware capability bits) and macOS (sysctl).
#include "platform/processor_features.h"

#if defined(__aarch64__) && defined(__linux__)
#include <sys/auxv.h>
#elif defined(__aarch64__) && defined(__APPLE__)
#include <sys/sysctl.h>
#endif

bool processor_has_dot_product() {
#if defined(__aarch64__) && defined(__linux__)
  return (getauxval(AT_HWCAP) & HWCAP_ASIMDDP) != 0;
#elif defined(__aarch64__) && defined(__APPLE__)
  int present = 0;
  size_t size = sizeof present;
  return sysctlbyname("hw.optional.arm.FEAT_DotProd", &present, &size, nullptr, 0) == 0 && present;
#else
  return false;
#endif
}
