#include "core/text.h"

#include <gtest/gtest.h>

namespace mpg {
namespace {

TEST(CopyText, CutsOffOrLeavesOut) {
  char field[5];
  CopyText(field, "webm");
  EXPECT_STREQ(field, "webm");
  CopyText(field, "matroska");
  EXPECT_STREQ(field, "matr");
  CopyWholeText(field, "webm");
  EXPECT_STREQ(field, "webm");
  CopyWholeText(field, "webms");
  EXPECT_STREQ(field, "");
}

}  // namespace
}  // namespace mpg
