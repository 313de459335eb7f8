#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "util/executable_path.h"
#include "util/mime_types.h"

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

TEST(ExecutablePathTest, FrameworksStandBesideTheProgramsFolder) {
  namespace fs = std::filesystem;
  EXPECT_TRUE(fs::exists(util::ExecutablePath()));
  const fs::path root = fs::canonical(fs::temp_directory_path()) / std::to_string(getpid());
  fs::create_directories(root / "bin");
  EXPECT_EQ(util::FrameworksDirectory(root / "bin/program"), "");
  fs::create_directory(root / "Frameworks");
  EXPECT_EQ(util::FrameworksDirectory(root / "bin/program"), root / "Frameworks");
  fs::remove_all(root);
}
