// Tests the edits of an INI document.

#include "fairlead/ini/ini_document.h"

#include <gtest/gtest.h>

namespace fairlead {
namespace {

TEST(IniDocumentTest, ReadsAndEdits) {
  IniDocument document("[server]\n  port = 80  \n#tls=on\n");
  EXPECT_EQ(document.Value("server", "port"), "80");
  EXPECT_TRUE(document.Set({"server", "port"}, "7000").IsOk());
  EXPECT_TRUE(document.Enable({"server", "tls"}).IsOk());
  EXPECT_EQ(document.Text(), "[server]\n  port = 7000  \ntls=on\n");
}

}  // namespace
}  // namespace fairlead
