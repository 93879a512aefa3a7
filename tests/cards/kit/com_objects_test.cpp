#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "card_fixture.h"
#include "kit/com_object.h"
#include "simulated/fault_plan.h"

extern "C" {
HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);
HRESULT STDMETHODCALLTYPE DllCanUnloadNow();
}

namespace kestrune::kit {
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
  TZvSmartPtr<IClassFactory> factory;
  auto** out = reinterpret_cast<void**>(&factory);
  EXPECT_EQ(DllGetClassObject(strangeIid, IID_IClassFactory, out), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(DllGetClassObject(CLSID_ZvSystemConfiguration, strangeIid, out), E_NOINTERFACE);
  EXPECT_EQ(DllCanUnloadNow(), libraryUses == 0 ? S_OK : S_FALSE)
      << "another test may have pinned the library";
  ASSERT_EQ(DllGetClassObject(CLSID_ZvSystemConfiguration, IID_IClassFactory, out), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);

  TZvSmartPtr<IUnknown> object;
  out = reinterpret_cast<void**>(&object);
  EXPECT_EQ(factory->CreateInstance(factory.Get(), IID_IZvSystemConfiguration, out), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(factory->CreateInstance(nullptr, strangeIid, out), E_NOINTERFACE);
  EXPECT_EQ(object.Get(), nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IZvSystemConfiguration, nullptr), E_POINTER);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IZvSystemConfiguration, out), S_OK);

  CardObjects objects;
  TZvSmartPtr<IUnknown> queried;
  out = reinterpret_cast<void**>(&queried);
  EXPECT_EQ(objects.card->QueryInterface(IID_IUnknown, out), S_OK);
  EXPECT_EQ(queried.Get(), objects.card.Get());
  queried->Release();
  EXPECT_EQ(objects.card->QueryInterface(IID_IZvSystemConfiguration, out), E_NOINTERFACE);
  EXPECT_EQ(queried.Get(), nullptr);
  EXPECT_EQ(objects.genlock->QueryInterface(IID_IZvCardConfigurationPrivate, out), E_NOINTERFACE);
  EXPECT_EQ(objects.card->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(ComObjects, AStruckOperationReturnsItsCode) {
  bool struck = false;
  System system = OneCard(std::make_unique<BusyCard>());
  system.strike = [&](Operation operation, std::int64_t) -> std::optional<HRESULT> {
    if (!struck) return std::nullopt;
    return static_cast<HRESULT>(0x80040200U + static_cast<unsigned>(operation));
  };
  CardObjects objects({}, std::move(system));
  struck = true;
  const struct {
    Operation operation;
    void* object;
    std::size_t position;
  } rows[] = {
      {Operation::UnregisterMonitorData, objects.card.Get(), 63},
      {Operation::UnregisterGenlock, objects.genlockNotification.Get(), 6},
      {Operation::UnregisterSt2059, objects.smpte2059.Get(), 7},
      {Operation::UnregisterSfpIp, objects.sfpIp[0].Get(), 8},
      {Operation::GetSt2059SfpStatus, objects.smpte2059Sfp[1].Get(), 5},
      {Operation::NextSfp, objects.sfps.Get(), 4},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(CallPosition(row.object, row.position), *objects.activation.lock()->Strike(row.operation))
        << operationNames[static_cast<std::size_t>(row.operation)];
  }
  EXPECT_EQ(CallPosition(objects.sfpIp[1].Get(), 3), 2) << "the SFP number";
  for (const std::size_t skipped : {3U, 14U, 16U, 35U, 37U, 38U, 40U, 50U, 52U, 61U}) {
    EXPECT_EQ(CallPosition(objects.card.Get(), skipped), E_NOTIMPL) << skipped;
  }
}

TEST(ComObjects, RefuseWrongArguments) {
  CardObjects objects;
  EXPECT_EQ(objects.genlock->GetStatus(nullptr), ZV_E_INVALID_POINTER);
  EXPECT_EQ(objects.card->GetGenlockConfiguration(nullptr), ZV_E_INVALID_POINTER);
  EXPECT_EQ(objects.card->GetMonitorData(nullptr), ZV_E_INVALID_POINTER);
  EXPECT_EQ(objects.smpte2059->RegisterCallback(nullptr), ZV_E_INVALID_POINTER);
  TZvSmartPtr<IZvSmpte2059Sfp> none2059;
  EXPECT_EQ(objects.smpte2059->GetSfp(nullptr, &none2059), ZV_E_INVALID_POINTER);

  const auto expectSizeChecked = [](auto record, auto&& read) {
    EXPECT_EQ(read(&record), S_OK);
    record.size += 4;
    EXPECT_EQ(read(&record), ZV_E_INVALID_STRUCTURE_SIZE) << record.size;
  };
  expectSizeChecked(MakeRecord<GenlockStatus>(),
                    [&](auto* record) { return objects.genlock->GetStatus(record); });
  expectSizeChecked(MakeRecord<CardInformation>(),
                    [&](auto* record) { return objects.card->GetCardInformation(record, 0); });
  auto information = MakeRecord<CardInformation>();
  information.nested.size = 48;
  EXPECT_EQ(objects.card->GetCardInformation(&information, 0), ZV_E_INVALID_STRUCTURE_SIZE);

  CardObjects others({}, OneCard(std::make_unique<BusyCard>(CardDescription{.sfpNumbers = {3}})));
  EXPECT_EQ(objects.smpte2059->GetSfp(others.sfpIp[0].Get(), &none2059), ZV_E_INVALID_PARAMETER);
  TZvSmartPtr<IZvSfpIp> none;
  EXPECT_EQ(objects.sfps->Next(&none), ZV_E_END_OF_ENUM);
  TZvSmartPtr<IZvCardConfiguration> noCard;
  EXPECT_EQ(objects.cards->Next(&noCard), ZV_E_END_OF_ENUM);
}

TEST(ComObjects, DescribeTheCard) {
  const std::string serialNumber(31, '7');
  const std::string cardModel(103, 'm');
  const CardDescription description{.modelCode = 100,
                                    .serialNumber = serialNumber,
                                    .cardModel = cardModel,
                                    .st2059 = false,
                                    .sfpNumbers = {}};
  CardObjects objects({}, OneCard(std::make_unique<BusyCard>(description)));
  auto information = MakeRecord<CardInformation>();
  ASSERT_EQ(objects.card->GetCardInformation(&information, 0), S_OK);
  EXPECT_EQ(information.modelCode, 100U);
  EXPECT_EQ(information.serialNumber, serialNumber);
  EXPECT_EQ(information.cardModel, cardModel);
  EXPECT_EQ(information.nested.size, 52U);
  EXPECT_TRUE(objects.smpte2059.IsNull()) << "a card without ST 2059";
}

TEST(ComObjects, RegistrationHoldsOneReference) {
  const long usesBefore = libraryUses;
  const std::int32_t liveBefore = CZvUnknown::LiveObjects();
  {
    CardObjects objects;
    const auto callback = Hold<SfpIpCallback>([](IZvSfpIp*, const SfpIpStatus&) {});
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
    objects.sfpIp[1] = nullptr;
    EXPECT_EQ(callback->References(), 1U) << "the released object gave its reference back";
  }
  EXPECT_EQ(CZvUnknown::LiveObjects(), liveBefore);
  EXPECT_EQ(libraryUses, usesBefore) << "an object leaked";
}

}  // namespace
}  // namespace kestrune::kit
