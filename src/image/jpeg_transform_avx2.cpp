#include <immintrin.h>

#include "image/jpeg_transform.h"
#include "image/jpeg_transform_kernel.h"

namespace mpg::jpeg {
namespace {

using Float8 = float __attribute__((vector_size(32)));
using Int8 = std::int32_t __attribute__((vector_size(32)));

// A line of eight values in one vector.
struct Lanes8 {
  using Float = Float8;
  using Int = Int8;
  static constexpr std::size_t kCount = 8;

  MPG_LANES_INLINE static void Widen(Byte16 bytes, Float* lines) {
    const auto packed = reinterpret_cast<__m128i>(bytes);
    const __m256i first = _mm256_cvtepu8_epi32(packed);
    const __m256i second = _mm256_cvtepu8_epi32(_mm_srli_si128(packed, 8));
    lines[0] = __builtin_convertvector(reinterpret_cast<Int>(first), Float);
    lines[1] = __builtin_convertvector(reinterpret_cast<Int>(second), Float);
  }

  // Transposes the four 4 x 4 quarters in place, then exchanges two of them.
  MPG_LANES_INLINE static void Transpose(Float (&x)[8]) {
    TransposeQuarters(x);
    TransposeQuarters(x + 4);
#pragma GCC unroll 4
    for (std::size_t i = 0; i < 4; ++i) {
      const Float upper = x[i];
      const Float lower = x[i + 4];
      x[i] = __builtin_shufflevector(upper, lower, 0, 1, 2, 3, 8, 9, 10, 11);
      x[i + 4] = __builtin_shufflevector(upper, lower, 4, 5, 6, 7, 12, 13, 14, 15);
    }
  }

  // The rows' left halves go to `to`, the right ones 32 numbers on. Bits 16 and up of the result
  // are for the right halves.
  MPG_LANES_INLINE static std::uint32_t Store(const Int (&rows)[4], std::int16_t* to) {
    const __m256i packed01 =
        _mm256_packs_epi32(reinterpret_cast<__m256i>(rows[0]), reinterpret_cast<__m256i>(rows[1]));
    const __m256i packed23 =
        _mm256_packs_epi32(reinterpret_cast<__m256i>(rows[2]), reinterpret_cast<__m256i>(rows[3]));
    const __m256i left = _mm256_permute2x128_si256(packed01, packed23, 0x20);
    const __m256i right = _mm256_permute2x128_si256(packed01, packed23, 0x31);
    std::memcpy(to, &left, sizeof left);
    std::memcpy(to + 32, &right, sizeof right);
    const __m256i zero = _mm256_setzero_si256();
    const __m256i isZero =
        _mm256_packs_epi16(_mm256_cmpeq_epi16(packed01, zero), _mm256_cmpeq_epi16(packed23, zero));
    return ~static_cast<std::uint32_t>(_mm256_movemask_epi8(isZero));
  }

 private:
  MPG_LANES_INLINE static void TransposeQuarters(Float* x) {
    const Float low01 = __builtin_shufflevector(x[0], x[1], 0, 8, 1, 9, 4, 12, 5, 13);
    const Float high01 = __builtin_shufflevector(x[0], x[1], 2, 10, 3, 11, 6, 14, 7, 15);
    const Float low23 = __builtin_shufflevector(x[2], x[3], 0, 8, 1, 9, 4, 12, 5, 13);
    const Float high23 = __builtin_shufflevector(x[2], x[3], 2, 10, 3, 11, 6, 14, 7, 15);
    x[0] = __builtin_shufflevector(low01, low23, 0, 1, 8, 9, 4, 5, 12, 13);
    x[1] = __builtin_shufflevector(low01, low23, 2, 3, 10, 11, 6, 7, 14, 15);
    x[2] = __builtin_shufflevector(high01, high23, 0, 1, 8, 9, 4, 5, 12, 13);
    x[3] = __builtin_shufflevector(high01, high23, 2, 3, 10, 11, 6, 7, 14, 15);
  }
};

}  // namespace

void TransformAreaAvx2(const std::uint8_t* pixels, std::size_t rowBytes,
                       const Reciprocals& luminance, const Reciprocals& chrominance,
                       QuantizedArea& area) {
  TransformAreaWith<Lanes8>(pixels, rowBytes, luminance, chrominance, area);
}

}  // namespace mpg::jpeg
