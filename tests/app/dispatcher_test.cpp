#include "app/dispatcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "support/scripted_card.h"
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

TEST(CardSelection, AnEmptySerialNumberMatchesNoCardAndALongOneItsWholeField) {
  const test::ConsoleCapture console;
  ApplicationContext context;
  context.cards.resize(2);
  std::ranges::fill(context.cards[1].information.serialNumber, 'x');
  const std::string longest = "-sn=" + std::string(sizeof CardInformation::serialNumber, 'x');
  const auto select = [&](const char* option) {
    const char* argv[] = {"kestrune", "run", option};
    return SelectCard(context, CZvCommandLineParser(3, argv));
  };
  for (const char* option : {"-sn=", "-sn", "-SN=A1", "-sn=x"})
    EXPECT_EQ(select(option).result.Code(), ZV_E_FAIL) << option;
  EXPECT_EQ(select(longest.c_str()).index, 1U);
}

/// Hands out its card twice, with a success of another kind, and then fails.
struct OddEnumerator : IZvSystemConfigurationCardEnumerator {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Next(IZvCardConfiguration** next) override {
    if (++calls > 2) return ZV_E_END_OF_ENUM;
    *next = card.Interface();
    (*next)->AddRef();
    return ZV_FALSE;
  }
  test::ScriptedCard card;
  int calls = 0;
};

struct OddSystem : IZvSystemConfiguration {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetCardEnumerator(IZvSystemConfigurationCardEnumerator** out) override {
    *out = &enumerator;
    return S_OK;
  }
  OddEnumerator enumerator;
};

TEST(CardSelection, ASuccessOfAnotherKindMayComeWithACard) {
  const test::ConsoleCapture console;
  OddSystem system;
  ApplicationContext context;
  context.systemConfiguration = &system;
  EXPECT_EQ(EnumerateCards(context).Code(), ZV_NOERROR);
  EXPECT_EQ(context.cards.size(), 2U);
  EXPECT_EQ(console.Text(), "");
}

TEST(ApplicationContext, GivesTheSystemConfigurationBackBeforeTheCards) {
  test::ScriptedCard card;
  struct System : IZvSystemConfiguration {
    explicit System(test::ScriptedCard& held) : card(held) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override {
      cardReferences = card.References();
      return 1;
    }
    HRESULT STDMETHODCALLTYPE GetCardEnumerator(IZvSystemConfigurationCardEnumerator**) override {
      return E_NOTIMPL;
    }
    test::ScriptedCard& card;
    std::size_t cardReferences = 0;
  } system(card);
  {
    ApplicationContext context;
    context.systemConfiguration = &system;
    context.cards.resize(1);
    context.cards[0].card = card.Interface();
  }
  EXPECT_EQ(system.cardReferences, 1U);
  EXPECT_EQ(card.References(), 0U);
}

}  // namespace
}  // namespace kestrune
