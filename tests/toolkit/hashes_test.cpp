#include <gtest/gtest.h>

#include "toolkit/toolkit.h"

TEST(HashesTest, DigestsOfThePublishedMessages) {
  EXPECT_EQ(sha256_base16("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(sha256("abc").substr(0, 3), "\xBA\x78\x16");
  EXPECT_EQ(hmacHex("Jefe", "what do ya want for nothing?"),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  EXPECT_EQ(
      hmacHex(std::string(131, '\xAA'), "Test Using Larger Than Block-Size Key - Hash Key First"),
      "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}
