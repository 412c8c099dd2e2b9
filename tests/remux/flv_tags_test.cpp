#include "remux/flv_tags.h"

#include "platform/file.h"
#include "support/kit.h"

namespace mpg {
namespace {

using namespace std::string_literals;

const std::string kFileHeader = "FLV\x01\x05\0\0\0\x09\0\0\0\0"s;

// A tag whose content is shorter than 256 bytes.
std::string Tag(char type, const std::string& content, int backLinkError = 0) {
  const std::string size{'\0', '\0', static_cast<char>(content.size())};
  const int backLink = static_cast<int>(content.size()) + 11 + backLinkError;
  return type + size + std::string(7, '\0') + content + "\0\0"s + static_cast<char>(backLink >> 8) +
         static_cast<char>(backLink & 0xFF);
}

const std::string kScript = Tag(18, "\x02script");
const std::string kAacSetUp = Tag(8, "\xAF\0\x12\x10"s);
const std::string kAvcSetUp = Tag(9, "\x17\0\0\0\0\x01\x64"s);
const std::string kAacTag = Tag(8, "\xAF\x01audio");
const std::string kAvc = Tag(9, "\x17\x01\0\0\0frame"s);
const std::string kMp3Tag = Tag(8, "\x2F\0audio"s);
const std::string kSorenson = Tag(9, "\x22\0frame"s);

TEST(FlvTags, MediaStartBehindHeaderScriptsAndDecoderSetUps) {
  struct Case {
    std::string name, content;
    std::optional<std::int64_t> expected;
  };
  const Case cases[] = {
      {"everything", kFileHeader + kScript + kAacSetUp + kAvcSetUp + kAvc, 13 + 22 + 19 + 22},
      {"in another order", kFileHeader + kAvcSetUp + kScript + kAacSetUp + kAacTag, 13 + 63},
      {"no script", kFileHeader + kAacSetUp + kAacTag, 13 + 19},
      {"two scripts", kFileHeader + kScript + kScript + kMp3Tag, 13 + 44},
      {"nothing in front", kFileHeader + kMp3Tag, 13},
      {"codecs without set-up", kFileHeader + kScript + kSorenson, 13 + 22},
      {"set-up behind media stays", kFileHeader + kScript + kAvc + kAacSetUp, 13 + 22},
      {"empty audio tag", kFileHeader + Tag(8, "") + kMp3Tag, 13},
      {"longer file header", "FLV\x01\x05\0\0\0\x0B??"s + "\0\0\0\0"s + kScript + kMp3Tag, 15 + 22},
      {"shorter file header", "FLV\x01\x05\0\0\0\x08\0\0\0\0"s + kScript + kMp3Tag, std::nullopt},
      {"unknown tag", kFileHeader + Tag(5, "??") + kMp3Tag, std::nullopt},
      {"encrypted tag", kFileHeader + Tag(0x28, "??") + kMp3Tag, std::nullopt},
      {"wrong back link", kFileHeader + Tag(18, "\x02script", 1) + kMp3Tag, std::nullopt},
      {"no media", kFileHeader + kScript, std::nullopt},
      {"cut off in a tag", kFileHeader + kScript.substr(0, 15), std::nullopt},
      {"header alone", kFileHeader, std::nullopt},
      {"other signature", "RIFF" + kFileHeader.substr(4) + kScript + kMp3Tag, std::nullopt},
      {"empty", "", std::nullopt},
  };
  const test::ScratchFolder folder;
  const std::string path = folder / "a.flv";
  for (const Case& c : cases) {
    test::WriteBytes(path, c.content);
    platform::File file;
    ASSERT_EQ(file.Open(path, platform::Access::kRead), 0);
    EXPECT_EQ(FindFlvMediaStart(file), c.expected) << c.name;
  }
}

}  // namespace
}  // namespace mpg
