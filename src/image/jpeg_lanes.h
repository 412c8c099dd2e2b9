#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Four floats at once, in the compiler's portable vectors: what every 64-bit x86 and most other
// machines have. Everything here is inlined by force, so that no copy of it compiled for a newer
// processor can end up in the program of an older one.
#define MPG_LANES_INLINE [[gnu::always_inline]] inline

namespace mpg::jpeg {

using Float4 = float __attribute__((vector_size(16)));
using Int4 = std::int32_t __attribute__((vector_size(16)));
using Short8 = std::uint16_t __attribute__((vector_size(16)));
using Byte16 = std::uint8_t __attribute__((vector_size(16)));

MPG_LANES_INLINE Byte16 LoadBytes(const std::uint8_t* from) {
  Byte16 bytes;
  std::memcpy(&bytes, from, sizeof bytes);
  return bytes;
}

// a0 b0 a1 b1 ...: the first halves of a and b, element by element.
MPG_LANES_INLINE Byte16 InterleaveLow(Byte16 a, Byte16 b) {
  return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
MPG_LANES_INLINE Short8 InterleaveLow(Short8 a, Short8 b) {
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}

// The same of the second halves.
MPG_LANES_INLINE Byte16 InterleaveHigh(Byte16 a, Byte16 b) {
  return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                 31);
}
MPG_LANES_INLINE Short8 InterleaveHigh(Short8 a, Short8 b) {
  return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

// Widens the first or second half of a vector to elements of twice the size.
template <typename Wide, typename Narrow>
MPG_LANES_INLINE Wide WidenLow(Narrow narrow) {
  constexpr bool kLowByteFirst = std::endian::native == std::endian::little;
  return reinterpret_cast<Wide>(kLowByteFirst ? InterleaveLow(narrow, Narrow{})
                                              : InterleaveLow(Narrow{}, narrow));
}
template <typename Wide, typename Narrow>
MPG_LANES_INLINE Wide WidenHigh(Narrow narrow) {
  constexpr bool kLowByteFirst = std::endian::native == std::endian::little;
  return reinterpret_cast<Wide>(kLowByteFirst ? InterleaveHigh(narrow, Narrow{})
                                              : InterleaveHigh(Narrow{}, narrow));
}

// Half away from zero: adds 0.5 with the value's sign, then truncates. The sum is rounded to single
// precision first, so 0.49999997 becomes 1, as it does one float at a time.
template <typename Int, typename Float>
MPG_LANES_INLINE Int Round(Float values) {
  constexpr std::int32_t kSignBit = INT32_MIN;
  constexpr std::int32_t kHalf = std::bit_cast<std::int32_t>(0.5f);
  const Int signedHalf = (reinterpret_cast<Int>(values) & kSignBit) | kHalf;
  return __builtin_convertvector(values + reinterpret_cast<Float>(signedHalf), Int);
}

// The width-dependent steps of the block transform. A line of eight values takes two vectors.
struct Lanes4 {
  using Float = Float4;
  using Int = Int4;
  static constexpr std::size_t kCount = 4;

  // 16 bytes to two lines.
  MPG_LANES_INLINE static void Widen(Byte16 bytes, Float* lines) {
    const Short8 first = WidenLow<Short8>(bytes);
    const Short8 second = WidenHigh<Short8>(bytes);
    lines[0] = __builtin_convertvector(WidenLow<Int>(first), Float);
    lines[1] = __builtin_convertvector(WidenHigh<Int>(first), Float);
    lines[2] = __builtin_convertvector(WidenLow<Int>(second), Float);
    lines[3] = __builtin_convertvector(WidenHigh<Int>(second), Float);
  }

  // Turns the rows of each 4 x 4 matrix into its columns.
  MPG_LANES_INLINE static void Transpose(Float (&x)[8]) {
    TransposeFour(x);
    TransposeFour(x + 4);
  }

  // Stores numbers within 16 bits. Bit i of the result says that to[i] is not 0.
  MPG_LANES_INLINE static std::uint32_t Store(const Int (&rows)[4], std::int16_t* to) {
#if defined(__SSE2__)
    const __m128i low =
        _mm_packs_epi32(reinterpret_cast<__m128i>(rows[0]), reinterpret_cast<__m128i>(rows[1]));
    const __m128i high =
        _mm_packs_epi32(reinterpret_cast<__m128i>(rows[2]), reinterpret_cast<__m128i>(rows[3]));
    std::memcpy(to, &low, sizeof low);
    std::memcpy(to + 8, &high, sizeof high);
    const __m128i zero = _mm_setzero_si128();
    const __m128i isZero = _mm_packs_epi16(_mm_cmpeq_epi16(low, zero), _mm_cmpeq_epi16(high, zero));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(isZero)) ^ 0xffffu;
#else
    std::uint32_t notZero = 0;
    for (std::size_t i = 0; i < 16; ++i) {
      to[i] = static_cast<std::int16_t>(rows[i / 4][i % 4]);
      notZero |= (to[i] != 0 ? 1u : 0u) << i;
    }
    return notZero;
#endif
  }

 private:
  MPG_LANES_INLINE static void TransposeFour(Float* x) {
    const Float low01 = __builtin_shufflevector(x[0], x[1], 0, 4, 1, 5);
    const Float high01 = __builtin_shufflevector(x[0], x[1], 2, 6, 3, 7);
    const Float low23 = __builtin_shufflevector(x[2], x[3], 0, 4, 1, 5);
    const Float high23 = __builtin_shufflevector(x[2], x[3], 2, 6, 3, 7);
    x[0] = __builtin_shufflevector(low01, low23, 0, 1, 4, 5);
    x[1] = __builtin_shufflevector(low01, low23, 2, 3, 6, 7);
    x[2] = __builtin_shufflevector(high01, high23, 0, 1, 4, 5);
    x[3] = __builtin_shufflevector(high01, high23, 2, 3, 6, 7);
  }
};

}  // namespace mpg::jpeg
