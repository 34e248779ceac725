// Hashes against the examples of FIPS 180-4, texts against those of RFC 4648.
#include "hash/hash.h"

#include <gtest/gtest.h>

#include "tests/support.h"

namespace {

TEST(Hash, OfBytesAndOfAFileIsTheStandards) {
  const tests::CFolder folder;
  const struct {
    std::string bytes;
    const char* hex;
  } rows[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {std::string(1'000'000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(hash::Hex(hash::Sha256(row.bytes)), row.hex);
    std::string error;
    const auto ofFile = hash::Sha256OfFile(folder.Write("bytes", row.bytes), &error);
    ASSERT_TRUE(ofFile) << error;
    EXPECT_EQ(hash::Hex(*ofFile), row.hex);
  }
  std::string error;
  for (const std::string& name : {folder.Path("none"), folder.Path("")}) {
    EXPECT_FALSE(hash::Sha256OfFile(name, &error));
    EXPECT_EQ(error.find(name + ": "), 0u) << error;
  }
}

TEST(Hash, Base64IsPadded) {
  EXPECT_EQ(hash::Base64(std::string_view("")), "");
  EXPECT_EQ(hash::Base64("f"), "Zg==");
  EXPECT_EQ(hash::Base64("fo"), "Zm8=");
  EXPECT_EQ(hash::Base64("foobar"), "Zm9vYmFy");
}

}  // namespace
