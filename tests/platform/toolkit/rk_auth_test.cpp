// The authentication toolkit's key table and server location.
#include "rk_auth.h"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

TEST(RkKeys, KeepReplaceAndRemoveValues) {
  EXPECT_EQ(nullptr, rkGetKeyValue("RK_TEST_ABSENT"));
  ASSERT_EQ(0, rkSetKeyValue("RK_TEST_A", "1"));
  const char* first = rkGetKeyValue("RK_TEST_A");
  ASSERT_NE(nullptr, first);
  EXPECT_STREQ("1", first);
  EXPECT_EQ(nullptr, rkGetKeyValue("rk_test_a"));  // names are exact
  ASSERT_EQ(0, rkSetKeyValue("RK_TEST_A", "2"));
  EXPECT_STREQ("2", rkGetKeyValue("RK_TEST_A"));
  EXPECT_STREQ("1", first);  // texts handed out stay valid
  ASSERT_EQ(0, rkSetKeyValue("RK_TEST_A", nullptr));
  EXPECT_EQ(nullptr, rkGetKeyValue("RK_TEST_A"));
  EXPECT_EQ(1, rkSetKeyValue(nullptr, "x"));
  EXPECT_EQ(1, rkSetKeyValue("", "x"));
  EXPECT_EQ(nullptr, rkGetKeyValue(nullptr));
}

TEST(RkKeys, ManyThreadsSetAndRead) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      std::string name = "RK_TEST_T" + std::to_string(t);
      for (int i = 0; i < 500; ++i) {
        std::string value = std::to_string(i);
        rkSetKeyValue(name.c_str(), value.c_str());
        const char* read = rkGetKeyValue(name.c_str());
        EXPECT_TRUE(read != nullptr && value == read);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

struct Outcome {
  int result;
  std::string text;
};

Outcome setLocation(const char* location, int bufferSize = 2048) {
  std::vector<char> buffer(static_cast<size_t>(bufferSize > 0 ? bufferSize : 1), '?');
  int length = bufferSize;
  int result = rkSetAuthServerLoc(location, "Repo", "user", "pw", 1,
                                  buffer.data(), &length);
  std::string text = bufferSize > 0 ? std::string(buffer.data()) : "";
  EXPECT_EQ(static_cast<int>(text.size()), length) << location;
  return {result, text};
}

TEST(RkAuthServer, ServerProfileAndEveryRejection) {
  Outcome server = setLocation(" Host = auth , PORT=65535, pass=x ");
  EXPECT_EQ(RK_AUTH_LOC_SERVER, server.result);
  EXPECT_EQ("", server.text);
  rkAuthServerLoc kept;
  ASSERT_EQ(1, rkGetAuthServerLoc(&kept));
  EXPECT_EQ(0, kept.fromProfile);
  EXPECT_STREQ("auth", kept.host);
  EXPECT_EQ(65535, kept.port);
  EXPECT_STREQ("Repo", kept.repository);
  EXPECT_STREQ("pw", kept.password);
  EXPECT_EQ(1, kept.sspi);

  EXPECT_EQ(RK_AUTH_LOC_PROFILE, setLocation("profile=Admin,host=h,port=x").result);
  ASSERT_EQ(1, rkGetAuthServerLoc(&kept));
  EXPECT_EQ(1, kept.fromProfile);
  EXPECT_STREQ("Admin", kept.profile);
  EXPECT_EQ(0, kept.port);

  const std::pair<const char*, const char*> rejected[] = {
      {nullptr, "The authentication server location is empty."},
      {"  ", "The authentication server location is empty."},
      {"host=h,port", "The authentication server location has the piece "
                      "'port', which is not of the form name=value."},
      {"port=80", "The authentication server location names no host (host=) "
                  "and no metadata profile (profile=)."},
      {"host=,port=80", "The authentication server location names no host "
                        "(host=) and no metadata profile (profile=)."},
      {"host=h", "The authentication server location names no port (port=)."},
      {"host=h,port=0", "The port '0' of the authentication server location "
                        "is not a number from 1 to 65535."},
      {"host=h,port=65536", "The port '65536' of the authentication server "
                            "location is not a number from 1 to 65535."},
      {"host=h,port=-1", "The port '-1' of the authentication server location "
                         "is not a number from 1 to 65535."},
      {"host=h,port=8a", "The port '8a' of the authentication server location "
                         "is not a number from 1 to 65535."},
      {"profile=", "The profile= attribute of the authentication server "
                   "location names no profile."},
  };
  for (const auto& [location, text] : rejected) {
    Outcome outcome = setLocation(location);
    EXPECT_EQ(RK_AUTH_LOC_INVALID, outcome.result) << (location ? location : "null");
    EXPECT_EQ(text, outcome.text);
  }
  // Rejections keep what was accepted before.
  ASSERT_EQ(1, rkGetAuthServerLoc(&kept));
  EXPECT_STREQ("Admin", kept.profile);

  // The text is cut to the buffer, and no buffer is fine.
  Outcome cut = setLocation("port=1", 11);
  EXPECT_EQ("The authen", cut.text);
  EXPECT_EQ(RK_AUTH_LOC_INVALID,
            rkSetAuthServerLoc("x", nullptr, nullptr, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(0, rkGetAuthServerLoc(nullptr));
}

}  // namespace
