// The border that no exception crosses.
#pragma once

#include <cstdint>
#include <new>

#include "core/error.h"
#include "media/output.h"
#include "mpg/mpg.h"

namespace mpg {

/// Runs a worker; 0, or the code of its failure.
template <class Worker>
[[nodiscard]] std::int32_t ResultOf(Worker&& worker) noexcept try {
  worker();
  return 0;
} catch (const Error& error) {
  return error.Code();
} catch (const std::bad_alloc&) {
  return AVERROR(ENOMEM);
} catch (...) {
  return AVERROR_UNKNOWN;
}

/// Runs a worker that gives a value; a zero value when it fails.
template <class Worker>
auto ValueOf(Worker&& worker) noexcept -> decltype(worker()) try {
  return worker();
} catch (...) {
  return {};
}

/// Throws Error(MPG_ERR_INVALID_PARAMETER) when any of the pointers is null.
template <class... Pointers>
void RequireArguments(const Pointers*... arguments) {
  const bool complete = (... && (arguments != nullptr));
  if (!complete) throw Error(MPG_ERR_INVALID_PARAMETER);
}

/// The same, and throws where the output is one of the inputs. Before anything is touched.
template <class... Paths>
void RequireFiles(const char* output, const Paths*... inputs) {
  RequireArguments(output, inputs...);
  (RequireOtherFile(output, inputs), ...);
}

}  // namespace mpg
