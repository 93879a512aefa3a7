#include "cmdline/command_line_parser.h"

#include <gtest/gtest.h>

namespace kestrune {
namespace {

CZvCommandLineParser Parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "kestrune");
  return {static_cast<int>(arguments.size()), arguments.data()};
}

TEST(CommandLineParser, WordsAreFoundWhateverTheirCaseAndPlace) {
  const auto parser = Parse({"-f=run", "RUN", "", "/list", "help=1"});
  EXPECT_TRUE(parser.HasWord("run"));
  EXPECT_TRUE(parser.HasWord(""));
  EXPECT_FALSE(parser.HasWord("list"));
  EXPECT_FALSE(parser.HasWord("help"));
  EXPECT_FALSE(parser.HasWord("ru"));
  EXPECT_FALSE(Parse({}).HasWord(""));
}

TEST(CommandLineParser, OptionsAndTheirValues) {
  struct Row {
    std::vector<const char*> arguments;
    const char* key;
    bool present;
    const char* value;
  };
  const Row rows[] = {
      {{"/sn=abc"}, "sn", true, "abc"},
      {{"-SN=abc"}, "sn", true, ""},              // the value's look-up minds the case
      {{"-snx=1", "-sn=2"}, "sn", true, "1"},     // and takes the first that begins with the key
      {{"-snx=1"}, "sn", false, "1"},             //
      {{"-sn"}, "sn", true, ""},                  //
      {{"-sn", "-sn=3"}, "sn", true, "3"},        //
      {{"-sn="}, "sn", true, ""},                 //
      {{"-d=5", "-d=7"}, "d", true, "5"},         //
      {{"-p=a=b"}, "p", true, "a=b"},             //
      {{"-d", "=", "3"}, "d", true, ""},          //
      {{"--d=3"}, "d", false, ""},                //
      {{"--d=3"}, "-d", true, "3"},               //
      {{"-"}, "", true, ""},                      //
      {{"-=x"}, "", true, "x"},                   //
      {{"sn=1"}, "sn", false, ""},                //
      {{"-p=C:\\a b\\"}, "p", true, "C:\\a b\\"}  //
  };
  for (const Row& row : rows) {
    const auto parser = Parse(row.arguments);
    EXPECT_EQ(parser.HasOption(row.key), row.present) << row.arguments[0] << " / " << row.key;
    EXPECT_EQ(parser.GetValue(row.key), row.value) << row.arguments[0] << " / " << row.key;
  }
}

}  // namespace
}  // namespace kestrune
