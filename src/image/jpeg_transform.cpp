#include "image/jpeg_transform.h"

#include "image/jpeg_transform_kernel.h"

namespace mpg::jpeg {

void TransformArea(const std::uint8_t* pixels, std::size_t rowBytes, const Reciprocals& luminance,
                   const Reciprocals& chrominance, QuantizedArea& area) {
  TransformAreaWith<Lanes4>(pixels, rowBytes, luminance, chrominance, area);
}

AreaTransform FastestAreaTransform() {
#if defined(MPG_JPEG_AVX2)
  if (__builtin_cpu_supports("avx2")) return TransformAreaAvx2;
#endif
  return TransformArea;
}

}  // namespace mpg::jpeg
