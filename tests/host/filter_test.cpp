#include "host/transfer/filter.h"

#include <gtest/gtest.h>

#include <fstream>

#include "host/common/errors.h"
#include "tests/support/scratch.h"

namespace b2drive {
namespace {

struct Row {
  std::vector<std::string> rules;  // + or - and the pattern
  std::string left_out;            // of the paths below
};
const std::vector<std::string> kPaths = {"a",   "a.o",   "[x]",     "dir/",  "dir/a",
                                         "x*y", "x/dir", "x/dir/a", "x/b.o", "ä"};
const Row kRows[] = {{{}, ""},
                     {{"-a"}, "a dir/a x/dir/a"},
                     {{"-/a"}, "a"},
                     {{"-dir"}, "dir/ x/dir"},
                     {{"-dir/"}, "dir/"},
                     {{"-/dir/"}, "dir/"},
                     {{"-dir/a"}, "dir/a x/dir/a"},
                     {{"-/dir/a"}, "dir/a"},
                     {{"-*.o"}, "a.o x/b.o"},
                     {{"-/*.o"}, "a.o"},
                     {{"-x/*"}, "x/dir x/b.o"},
                     {{"-x/**"}, "x/dir x/dir/a x/b.o"},
                     {{"-dir/***"}, "dir/ dir/a x/dir/a"},
                     {{"-**/a"}, "a dir/a x/dir/a"},
                     {{"-x**a"}, "x/dir/a"},
                     {{"-/**/a"}, "dir/a x/dir/a"},
                     {{"-?"}, "a dir/a x/dir/a"},
                     {{"-??"}, "ä"},
                     {{"-[!a-w]*"}, "[x] x*y ä"},
                     {{"-[[:alpha:]]"}, "a dir/a x/dir/a"},
                     {{"-[x]"}, ""},
                     {{"-\\[x\\]"}, "[x]"},
                     {{"-\\[x]*"}, "[x]"},
                     {{"-x\\*y"}, "x*y"},
                     {{"-x/*/*", "-//a"}, "x/dir/a"},
                     {{"+*.o", "-a*"}, "a dir/a x/dir/a"},
                     {{"-*.o", "+*.o"}, "a.o x/b.o"},
                     {{"+*/", "-a*"}, "a a.o dir/a x/dir/a"},
                     {{"-+ a", "-a*"}, "a.o"},
                     {{"-a", "-!", "-ä"}, "ä"}};

// rsync takes the same.
TEST(Filter, TakesWhatTheFirstMatchingRuleSays) {
  for (const Row& row : kRows) {
    Filter filter;
    for (const std::string& rule : row.rules) {
      rule[0] == '+' ? filter.Include(rule.substr(1)) : filter.Exclude(rule.substr(1));
    }
    std::string left_out;
    for (const std::string& path : kPaths) {
      const bool folder = path.ends_with('/');
      if (filter.Takes(path.substr(0, path.size() - (folder ? 1 : 0)), folder)) continue;
      left_out += (left_out.empty() ? "" : " ") + path;
    }
    EXPECT_EQ(left_out, row.left_out) << testing::PrintToString(row.rules);
  }
}

TEST(Filter, RefusesRulesThatMeanNothing) {
  Filter filter;
  for (const char* rule : {"", "+ ", "[x", "a["}) EXPECT_THROW(filter.Exclude(rule), HostError);
  filter.Include("a");
  EXPECT_TRUE(filter.TakesAll());
  filter.Exclude("b");
  EXPECT_FALSE(filter.TakesAll());
}

TEST(Filter, ReadsRulesFromAFile) {
  const Scratch scratch;
  const auto file = scratch.path / "rules";
  std::ofstream(file) << "# no\n; no\n\n+ keep.o\r\n*.o\n #\n";
  Filter filter;
  filter.ExcludeFrom(file);
  EXPECT_TRUE(filter.Takes("keep.o", false) && filter.Takes("#", false));
  EXPECT_FALSE(filter.Takes("x.o", false) || filter.Takes(" #", false));
  EXPECT_THROW(filter.ExcludeFrom(scratch.path / "none"), std::exception);
  EXPECT_THROW(filter.ExcludeFrom(scratch.path), std::exception);
}

}  // namespace
}  // namespace b2drive
