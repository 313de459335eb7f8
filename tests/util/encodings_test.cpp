#include <gtest/gtest.h>

#include <random>

#include "util/compression.h"
#include "util/url_encode.h"

TEST(URLEncodeTest, EncodesAllButUnreserved) {
  EXPECT_EQ(URLEncode("AZaz09-._~/", false), "AZaz09-._~/");
  EXPECT_EQ(URLEncode("%+@[`{\x01\x7F\xC3\xBF", true), "%25%2B%40%5B%60%7B%01%7F%C3%BF");
  EXPECT_EQ(URLEncode(nullptr, true), "");
}

TEST(CompressionTest, EveryLevelComesBackAndDamageGivesNothing) {
  std::minstd_rand random(1);
  for (const std::size_t size : {0U, 1U, 32768U, 5U << 20}) {
    std::string bytes(size, 'a');  // The half that stays so shrinks, the other half does not.
    for (std::size_t i = 0; i < size / 2; ++i) bytes[i] = static_cast<char>(random());
    for (int level = -1; level <= 9; level += size > 100000 ? 5 : 1) {
      const std::string hex = compress_string(bytes.data(), size, level);
      EXPECT_EQ(hex.find_first_not_of("0123456789ABCDEF"), std::string::npos);
      EXPECT_TRUE(decompress_string("\n" + hex + "\r\n") == bytes)
          << size << " bytes at level " << level;
      for (const std::string& damaged :
           {hex.substr(1), hex.substr(0, hex.size() - 2), "FF" + hex}) {
        EXPECT_EQ(decompress_string(damaged), "");
      }
    }
  }
  EXPECT_EQ(compress_string("", 0, -1), "030000000001");
  EXPECT_EQ(compress_string("a", 1, 10), "");
}
