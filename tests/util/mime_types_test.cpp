#include "util/mime_types.h"

#include <gtest/gtest.h>

TEST(MimeTypesTest, ATypeFollowsFromTheLastExtension) {
  EXPECT_EQ(get_ext_from_filename("photo.JPG"), "JPG");
  EXPECT_EQ(get_ext_from_filename("README"), "README");
  EXPECT_EQ(get_mime_type_from_ext("photo.JPG"), "image/jpeg");
  EXPECT_EQ(get_mime_type_from_ext("a.tar.gz"), "application/gzip");
  EXPECT_EQ(get_mime_type_from_ext("pdf"), "application/pdf");
  for (const char* name : {"README", "ends.", ""}) {
    EXPECT_EQ(get_mime_type_from_ext(name), "application/octet-stream") << name;
  }
  EXPECT_EQ(ext_dict.size(), 559U);
}
