#pragma once
// What the processor offers beyond what the build assumes, where only the system can tell
// (on x86 the compiler's own cpuid test does). The build compiles the file of its platform.

// The ARMv8.2 8-bit dot product (vdotq_s32); false on other processors.
bool processor_has_dot_product();
