#include "app/dispatcher.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/test_run.h"

namespace kestrune {
namespace {

ResultHolder DispatchWord(const char* word) {
  ApplicationContext context;
  const char* argv[] = {"kestrune", word};
  return Dispatch(context, 2, argv);
}

TEST(Dispatcher, ThreadOfAnotherApartmentIsRefused) {
  const test::ConsoleCapture console;
  std::thread([] {
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(DispatchWord("list").Code(), RPC_E_CHANGED_MODE);
    EXPECT_TRUE(DispatchWord("HELP").Succeeded()) << "needs no COM";
  }).join();
  EXPECT_EQ(console.LinesWithoutTime().front(), ": Could no initialize system : Unknown error");
}

}  // namespace
}  // namespace kestrune
