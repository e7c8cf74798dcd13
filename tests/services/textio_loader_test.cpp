// Loading the text IO library: failures leave nothing loaded and say why.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kx_fault.h"
#include "kxbtxtfile.h"
#include "np_dso.h"
#include "services/kxbtextio_loader.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"

namespace {

const bool kTextIO = kxb_test::useTextIO();

// Unloads the library for a test and loads it again afterwards.
class Unloaded {
 public:
  Unloaded() { kxbUnloadTextIO(); }
  ~Unloaded() {
    char error[256];
    EXPECT_TRUE(kxbLoadTextIO(kxb_test::companionDirectory().c_str(), error,
                              sizeof error))
        << error;
  }
};

TEST(TextIOLoader, FailuresLeaveNothingLoadedAndSayWhy) {
  Unloaded unloaded;
  kxb_test::TempDir dir;
  char error[256];
  // No library in the directory: the loader's own text names the file.
  EXPECT_FALSE(kxbLoadTextIO(dir.path().c_str(), error, sizeof error));
  EXPECT_NE(nullptr, std::strstr(error, "libkxbio311.so")) << error;
  EXPECT_EQ(nullptr, kxbTextIO());

  KxbString message;
  EXPECT_EQ(nullptr, kxbTxtFileOpen("x", KXB_TXT_READ, -1, 0, &message));
  EXPECT_STREQ("The text IO library is not loaded.", message.asCstr());

  // A file that is no library: the loader says so.
  dir.write("libkxbio311.so", "");
  EXPECT_FALSE(kxbLoadTextIO(dir.path().c_str(), error, sizeof error));
  EXPECT_NE(nullptr, std::strstr(error, "libkxbio311.so")) << error;
  EXPECT_EQ(nullptr, kxbTextIO());

  // The real library when the loader fails.
  std::string directory = kxb_test::companionDirectory();
  kxFaultArm(KX_FAULT_DSO_LOAD, 1);
  EXPECT_FALSE(kxbLoadTextIO(directory.c_str(), error, sizeof error));
  EXPECT_NE(nullptr, std::strstr(error, "libkxbio311.so")) << error;
  EXPECT_EQ(nullptr, kxbTextIO());

  // The message is cut to the caller's buffer.
  char small[8];
  EXPECT_FALSE(kxbLoadTextIO(dir.path().c_str(), small, sizeof small));
  EXPECT_EQ(7u, std::strlen(small));
}

TEST(TextIOLoader, LoadsOnceAndUnloadsCleanly) {
  ASSERT_NE(nullptr, kxbTextIO());
  KxbTextIO* before = kxbTextIO();
  char error[64];
  EXPECT_TRUE(kxbLoadTextIO("/nonexistent", error, sizeof error));
  EXPECT_EQ(before, kxbTextIO());
  {
    Unloaded unloaded;
    EXPECT_EQ(nullptr, kxbTextIO());
    kxbUnloadTextIO();  // a second unload does nothing
  }
  EXPECT_NE(nullptr, kxbTextIO());
}

TEST(DynamicLoading, PlatformNamesAndErrors) {
  char name[16];
  EXPECT_EQ(0, np_dso_mkfname("kxbio311", name, sizeof name));
  EXPECT_STREQ("libkxbio311.so", name);
  EXPECT_EQ(ENAMETOOLONG, np_dso_mkfname("kxbio311", name, 14));
  EXPECT_STREQ("", name);
  np_dso_handle handle = reinterpret_cast<np_dso_handle>(1);
  EXPECT_EQ(NP_DSO_LOADER_ERROR, np_dso_load("/no/such/lib.so", 0, &handle));
  EXPECT_EQ(nullptr, handle);
  EXPECT_NE(nullptr, std::strstr(np_dso_loaderr(nullptr), "/no/such/lib.so"));
  EXPECT_EQ(NP_DSO_BAD_ARGUMENT, np_dso_load("", 0, &handle));

  std::string path = kxb_test::companionDirectory() + "/libkxbio311.so";
  ASSERT_EQ(NP_DSO_OK, np_dso_load(path.c_str(), 0, &handle));
  EXPECT_NE(nullptr, np_dso_getsym(handle, "KxbIOInitialize"));
  EXPECT_EQ(nullptr, np_dso_getsym(handle, "NoSuchSymbol"));
  EXPECT_EQ(0, np_dso_unload(handle));
}

}  // namespace
