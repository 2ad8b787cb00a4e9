#pragma once
// Sixteen floats as one vector, which the compiler maps onto whatever the target has (one
// AVX-512 register, two AVX ones, four SSE ones). Loads and stores may be unaligned.
typedef float Float16 __attribute__((vector_size(64), aligned(4), may_alias));

inline Float16 load16(const float* p) { return *reinterpret_cast<const Float16*>(p); }
inline void store16(float* p, Float16 v) { *reinterpret_cast<Float16*>(p) = v; }

inline float horizontal_sum(Float16 v) {
  float sum = 0;
  for (int i = 0; i < 16; ++i) sum += v[i];
  return sum;
}
