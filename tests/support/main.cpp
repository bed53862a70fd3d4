// The main() of every test program.
#include <gtest/gtest.h>
#include <windows.h>

int main(int argc, char** argv) {
  // A crash must end the run, not wait behind a box for somebody to close it.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
