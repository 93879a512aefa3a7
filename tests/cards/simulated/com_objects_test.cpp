#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "simcard_fixture.h"
#include "simulated/com_object.h"
#include "simulated/fault_plan.h"

extern "C" {
HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);
HRESULT STDMETHODCALLTYPE DllCanUnloadNow();
}

namespace kestrune::simulated {
namespace {

constexpr IID strangeIid = {0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};

/// Calls the operation at a position of an object's table, as a caller does that knows nothing but the
/// position.
HRESULT CallPosition(void* object, std::size_t position, const void* first = nullptr,
                     void* second = nullptr) {
  using Function = HRESULT(STDMETHODCALLTYPE*)(void* self, const void* first, void* second);
  return (*static_cast<Function**>(object))[position](object, first, second);
}

TEST(ComObjects, ClassObjectAndQueryInterface) {
  Held<IClassFactory> factory;
  auto** out = reinterpret_cast<void**>(factory.Out());
  EXPECT_EQ(DllGetClassObject(strangeIid, IID_IClassFactory, out), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(DllGetClassObject(CLSID_ZvSystemConfiguration, strangeIid, out), E_NOINTERFACE);
  EXPECT_EQ(DllCanUnloadNow(), libraryUses == 0 ? S_OK : S_FALSE)
      << "another test may have pinned the library";
  ASSERT_EQ(DllGetClassObject(CLSID_ZvSystemConfiguration, IID_IClassFactory, out), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);

  Held<IUnknown> object;
  out = reinterpret_cast<void**>(object.Out());
  EXPECT_EQ(factory->CreateInstance(factory.Get(), IID_IZvSystemConfiguration, out), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(factory->CreateInstance(nullptr, strangeIid, out), E_NOINTERFACE);
  EXPECT_EQ(object.Get(), nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IZvSystemConfiguration, nullptr), E_POINTER);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IZvSystemConfiguration, out), S_OK);

  CardObjects objects(BusyScenario());
  Held<IUnknown> queried;
  out = reinterpret_cast<void**>(queried.Out());
  EXPECT_EQ(objects.card->QueryInterface(IID_IUnknown, out), S_OK);
  EXPECT_EQ(queried.Get(), objects.card.Get());
  EXPECT_EQ(objects.card->QueryInterface(IID_IZvSystemConfiguration, reinterpret_cast<void**>(queried.Out())),
            E_NOINTERFACE);
  EXPECT_EQ(queried.Get(), nullptr);
  EXPECT_EQ(objects.genlock->QueryInterface(IID_IZvCardConfigurationPrivate, out), E_NOINTERFACE);
  EXPECT_EQ(objects.card->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(ComObjects, EveryOperationAtItsPositionFailsByItsFault) {
  Scenario scenario = BusyScenario();
  for (std::size_t operation = 0; operation < operationCount; ++operation) {
    Fault fault;
    fault.operation = static_cast<Operation>(operation);
    fault.code = static_cast<HRESULT>(0x80040200U + operation);
    fault.firstCall = 4;  // the calls before it bring the objects
    scenario.faults.push_back(fault);
  }
  CardObjects objects(scenario);

  const struct {
    Operation operation;
    void* object;
    std::size_t position;
  } rows[] = {
      {Operation::GetCardEnumerator, objects.system.Get(), 3},
      {Operation::NextCard, objects.cards.Get(), 4},
      {Operation::QueryPrivate, objects.card.Get(), 0},
      {Operation::GetGenlockConfiguration, objects.card.Get(), 15},
      {Operation::GetCardInformation, objects.card.Get(), 36},
      {Operation::CreateSfpIpEnumerator, objects.card.Get(), 39},
      {Operation::GetSmpte2059, objects.card.Get(), 51},
      {Operation::RegisterMonitorData, objects.card.Get(), 62},
      {Operation::UnregisterMonitorData, objects.card.Get(), 63},
      {Operation::GetMonitorData, objects.card.Get(), 64},
      {Operation::GetGenlockSettings, objects.genlock.Get(), 3},
      {Operation::GetGenlockNotification, objects.genlock.Get(), 5},
      {Operation::GetGenlockStatus, objects.genlock.Get(), 6},
      {Operation::RegisterGenlock, objects.genlockNotification.Get(), 5},
      {Operation::UnregisterGenlock, objects.genlockNotification.Get(), 6},
      {Operation::GetSt2059Settings, objects.smpte2059.Get(), 4},
      {Operation::GetSt2059Status, objects.smpte2059.Get(), 5},
      {Operation::RegisterSt2059, objects.smpte2059.Get(), 6},
      {Operation::UnregisterSt2059, objects.smpte2059.Get(), 7},
      {Operation::GetSmpte2059Sfp, objects.smpte2059.Get(), 8},
      {Operation::GetSt2059SfpStatus, objects.smpte2059Sfp[1].Get(), 5},
      {Operation::NextSfp, objects.sfps.Get(), 4},
      {Operation::GetSfpIpStatus, objects.sfpIp[0].Get(), 6},
      {Operation::RegisterSfpIp, objects.sfpIp[0].Get(), 7},
      {Operation::UnregisterSfpIp, objects.sfpIp[0].Get(), 8},
  };
  static_assert(std::size(rows) == operationCount - 1, "all but CreateSystemConfiguration");
  for (const auto& row : rows) {
    const auto operation = static_cast<std::size_t>(row.operation);
    const IID* iid = row.position == 0 ? &IID_IZvCardConfigurationPrivate : nullptr;
    HRESULT result = S_OK;
    for (int call = 1; call <= 4; ++call) result = CallPosition(row.object, row.position, iid);
    EXPECT_EQ(result, static_cast<HRESULT>(0x80040200U + operation)) << "operation " << operation;
  }

  EXPECT_EQ(CallPosition(objects.sfpIp[1].Get(), 3), 2) << "the SFP number";
  for (const std::size_t skipped : {3U, 14U, 16U, 35U, 37U, 38U, 40U, 50U, 52U, 61U}) {
    EXPECT_EQ(CallPosition(objects.card.Get(), skipped), E_NOTIMPL) << skipped;
  }
}

TEST(ComObjects, RefuseWrongArguments) {
  CardObjects objects(BusyScenario());
  EXPECT_EQ(objects.genlock->GetStatus(nullptr), ZV_E_INVALID_POINTER);
  EXPECT_EQ(objects.card->GetGenlockConfiguration(nullptr), ZV_E_INVALID_POINTER);
  EXPECT_EQ(objects.card->GetMonitorData(nullptr), ZV_E_INVALID_POINTER);
  EXPECT_EQ(objects.smpte2059->RegisterCallback(nullptr), ZV_E_INVALID_POINTER);
  EXPECT_EQ(objects.smpte2059->GetSfp(nullptr, objects.smpte2059Sfp[0].Out()), ZV_E_INVALID_POINTER);

  const auto expectSizeChecked = [](auto record, auto&& read) {
    EXPECT_EQ(read(&record), S_OK);
    record.size += 4;
    EXPECT_EQ(read(&record), ZV_E_INVALID_STRUCTURE_SIZE) << record.size;
  };
  expectSizeChecked(MakeRecord<GenlockStatus>(),
                    [&](auto* record) { return objects.genlock->GetStatus(record); });
  expectSizeChecked(MakeRecord<GenlockSettings>(),
                    [&](auto* record) { return objects.genlock->GetSettings(record); });
  expectSizeChecked(MakeRecord<St2059Status>(),
                    [&](auto* record) { return objects.smpte2059->GetStatus(record); });
  expectSizeChecked(MakeRecord<St2059Settings>(),
                    [&](auto* record) { return objects.smpte2059->GetSettings(record); });
  expectSizeChecked(MakeRecord<St2059SfpStatus>(),
                    [&](auto* record) { return objects.smpte2059Sfp[1]->GetStatus(record); });
  expectSizeChecked(MakeRecord<SfpIpStatus>(),
                    [&](auto* record) { return objects.sfpIp[1]->GetStatus(record); });
  expectSizeChecked(MakeRecord<CardInformation>(),
                    [&](auto* record) { return objects.card->GetCardInformation(record, 0); });
  auto information = MakeRecord<CardInformation>();
  information.nested.size = 48;
  EXPECT_EQ(objects.card->GetCardInformation(&information, 0), ZV_E_INVALID_STRUCTURE_SIZE);

  Scenario third = BusyScenario();
  third.cards[0].sfpNumbers = {3};
  CardObjects others(third);
  EXPECT_EQ(objects.smpte2059->GetSfp(others.sfpIp[0].Get(), objects.smpte2059Sfp[0].Out()),
            ZV_E_INVALID_PARAMETER);
  Held<IZvSfpIp> none;
  EXPECT_EQ(objects.sfps->Next(none.Out()), ZV_E_END_OF_ENUM);
  Held<IZvCardConfiguration> noCard;
  EXPECT_EQ(objects.cards->Next(noCard.Out()), ZV_E_END_OF_ENUM);
}

TEST(ComObjects, DescribeTheCard) {
  Scenario scenario = BusyScenario();
  scenario.cards[0].modelCode = 100;
  scenario.cards[0].serialNumber = std::string(31, '7');
  scenario.cards[0].cardModel = std::string(103, 'm');
  scenario.cards[0].st2059 = false;
  const auto simulation = std::make_shared<Simulation>(scenario, MakeSystemClock());
  Held system(MakeSystemConfiguration(simulation));
  Held<IZvSystemConfigurationCardEnumerator> cards;
  ASSERT_EQ(system->GetCardEnumerator(cards.Out()), S_OK);
  Held<IZvCardConfiguration> card;
  ASSERT_EQ(cards->Next(card.Out()), S_OK);
  auto information = MakeRecord<CardInformation>();
  ASSERT_EQ(card->GetCardInformation(&information, 0), S_OK);
  EXPECT_EQ(information.modelCode, 100U);
  EXPECT_EQ(information.serialNumber, std::string(31, '7'));
  EXPECT_EQ(information.cardModel, std::string(103, 'm'));
  EXPECT_EQ(information.nested.size, 52U);

  Held<IZvSmpte2059> smpte2059;
  EXPECT_EQ(card->GetSmpte2059(smpte2059.Out()), S_OK);
  EXPECT_EQ(smpte2059.Get(), nullptr) << "a card without ST 2059";
}

TEST(ComObjects, RegistrationHoldsOneReference) {
  const long usesBefore = libraryUses;
  std::atomic<int> living = 0;
  {
    CardObjects objects(BusyScenario());
    Held callback(new SfpIpCallback(&living, [](IZvSfpIp*, const SfpIpStatus&) {}));
    EXPECT_EQ(objects.sfpIp[0]->RegisterCallback(callback.Get()), S_OK);
    EXPECT_EQ(objects.sfpIp[1]->RegisterCallback(callback.Get()), S_OK);
    EXPECT_EQ(callback->References(), 3U);
    EXPECT_EQ(objects.sfpIp[0]->RegisterCallback(callback.Get()), ZV_E_INVALID_PARAMETER)
        << "registered already";
    EXPECT_EQ(callback->References(), 3U);
    EXPECT_EQ(objects.sfpIp[0]->UnregisterCallback(callback.Get()), S_OK);
    EXPECT_EQ(objects.sfpIp[0]->UnregisterCallback(callback.Get()), ZV_E_NOT_FOUND);
    EXPECT_EQ(callback->References(), 2U);

    objects.sfpIp[1]->AddRef();
    EXPECT_EQ(objects.sfpIp[1]->Release(), 1U);
    EXPECT_EQ(callback->References(), 2U);
    objects.sfpIp[1].Reset();
    EXPECT_EQ(callback->References(), 1U) << "the released object gave its reference back";
  }
  EXPECT_EQ(living, 0);
  EXPECT_EQ(libraryUses, usesBefore) << "an object leaked";
}

TEST(FaultPlan, StrikesByCallAndByTime) {
  const auto at = [](Operation operation, std::uint32_t first, std::uint32_t last, double from,
                     std::optional<double> until) {
    Fault fault;
    fault.operation = operation;
    fault.code = ZV_E_FAIL;
    fault.firstCall = first;
    fault.lastCall = last;
    fault.from = from;
    fault.until = until;
    return fault;
  };
  FaultPlan plan({at(Operation::NextSfp, 2, 2, 0, {}), at(Operation::NextCard, 3, 0, 0, {}),
                  at(Operation::GetSfpIpStatus, 1, 0, 10, 20)});
  const auto strikes = [&](Operation operation, const std::vector<double>& times) {
    std::string struck;
    for (const double time : times) struck += plan.Strike(operation, time) == ZV_E_FAIL ? 'x' : '.';
    return struck;
  };
  EXPECT_EQ(strikes(Operation::NextSfp, {0, 0, 0, 0}), ".x..");
  EXPECT_EQ(strikes(Operation::NextCard, {0, 0, 0, 0}), "..xx");
  EXPECT_EQ(strikes(Operation::GetSfpIpStatus, {9, 10, 19, 20}), ".xx.");
}

}  // namespace
}  // namespace kestrune::simulated
