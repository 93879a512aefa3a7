#include "kit/card_objects.h"

#include <algorithm>
#include <utility>

#include "diag/result_codes.h"
#include "kit/com_object.h"

namespace kestrune::kit {
namespace {

/// A card of an activation that is kept alive.
struct CardReference {
  std::shared_ptr<Activation> activation;
  CardEngine* engine;
};

/// Any object of a card.
template <class Derived, class Interface>
class CardPart : public ComObject<Derived, Interface> {
 public:
  explicit CardPart(CardReference card) : card_(std::move(card)) {}

 protected:
  CardEngine& Engine() const { return *card_.engine; }
  const CardReference& Reference() const { return card_; }

  /// The result of `work`, unless a fault has struck this call of the operation.
  template <class Work>
  HRESULT Perform(Operation operation, Work&& work) const {
    const auto fault = card_.activation->Strike(operation, *card_.engine);
    return fault ? *fault : work();
  }

  /// Gives the caller a new `Part` of the same card.
  template <class Part, class Interface2, class... Arguments>
  HRESULT GivePart(Operation operation, Interface2** out, Arguments... arguments) const {
    if (out != nullptr) *out = nullptr;
    return Perform(operation, [&] {
      if (out == nullptr) return ZV_E_INVALID_POINTER;
      return Give(out, new Part(card_, arguments...));
    });
  }

  /// Fills the caller's record with what `read(card)` returns.
  template <class Record, class Read>
  HRESULT Fill(Operation operation, Record* record, Read&& read) const {
    return Perform(operation, [&] {
      if (record == nullptr) return ZV_E_INVALID_POINTER;
      if (record->size != sizeof(Record)) return ZV_E_INVALID_STRUCTURE_SIZE;
      *record = Engine().ReadCard(read);
      return S_OK;
    });
  }

 private:
  const CardReference card_;
};

class SfpIp final : public CardPart<SfpIp, IZvSfpIp> {
 public:
  SfpIp(CardReference card, std::uint32_t number) : CardPart(std::move(card)), number_(number) {}

  void Close() { Callbacks().UnregisterAll(this); }

  std::uint32_t STDMETHODCALLTYPE GetSfpNumber() override { return number_; }

  /// An SFP that is neither A nor B reports that it has no module.
  HRESULT STDMETHODCALLTYPE GetStatus(SfpIpStatus* status) override {
    return Fill(Operation::GetSfpIpStatus, status, [&](const Card& card) {
      const bool known = number_ == 1 || number_ == 2;
      return known ? card.ReadSfpIpStatus(number_ - 1) : MakeRecord<SfpIpStatus>();
    });
  }

  HRESULT STDMETHODCALLTYPE RegisterCallback(IZvSfpIpNotificationCallback* callback) override {
    return Perform(Operation::RegisterSfpIp, [&] { return Callbacks().Register(this, callback); });
  }

  HRESULT STDMETHODCALLTYPE UnregisterCallback(IZvSfpIpNotificationCallback* callback) override {
    return Perform(Operation::UnregisterSfpIp, [&] { return Callbacks().Unregister(this, callback); });
  }

 private:
  CallbackList& Callbacks() { return Engine().SfpIpCallbacks(number_); }

  const std::uint32_t number_;
};

class SfpIpEnumerator final : public CardPart<SfpIpEnumerator, IZvSfpIpEnumerator> {
 public:
  using CardPart::CardPart;

  HRESULT STDMETHODCALLTYPE Next(IZvSfpIp** sfp) override {
    if (sfp != nullptr) *sfp = nullptr;
    return Perform(Operation::NextSfp, [&] {
      if (sfp == nullptr) return ZV_E_INVALID_POINTER;
      const auto& numbers = Engine().Description().sfpNumbers;
      const std::size_t index = next_++;
      return index < numbers.size() ? Give(sfp, new SfpIp(Reference(), numbers[index])) : ZV_E_END_OF_ENUM;
    });
  }

 private:
  std::atomic<std::size_t> next_ = 0;
};

class Smpte2059Sfp final : public CardPart<Smpte2059Sfp, IZvSmpte2059Sfp> {
 public:
  Smpte2059Sfp(CardReference card, std::size_t sfp) : CardPart(std::move(card)), sfp_(sfp) {}

  HRESULT STDMETHODCALLTYPE GetStatus(St2059SfpStatus* status) override {
    return Fill(Operation::GetSt2059SfpStatus, status,
                [&](const Card& card) { return card.ReadSt2059SfpStatus(sfp_); });
  }

 private:
  const std::size_t sfp_;
};

class Smpte2059 final : public CardPart<Smpte2059, IZvSmpte2059> {
 public:
  using CardPart::CardPart;

  void Close() { Engine().St2059Callbacks().UnregisterAll(this); }

  HRESULT STDMETHODCALLTYPE GetSettings(St2059Settings* settings) override {
    return Fill(Operation::GetSt2059Settings, settings,
                [](const Card& card) { return card.ReadSt2059Settings(); });
  }

  HRESULT STDMETHODCALLTYPE GetStatus(St2059Status* status) override {
    return Fill(Operation::GetSt2059Status, status, [](const Card& card) { return card.ReadSt2059Status(); });
  }

  HRESULT STDMETHODCALLTYPE RegisterCallback(IZvSmpte2059NotificationCallback* callback) override {
    return Perform(Operation::RegisterSt2059,
                   [&] { return Engine().St2059Callbacks().Register(this, callback); });
  }

  HRESULT STDMETHODCALLTYPE UnregisterCallback(IZvSmpte2059NotificationCallback* callback) override {
    return Perform(Operation::UnregisterSt2059,
                   [&] { return Engine().St2059Callbacks().Unregister(this, callback); });
  }

  HRESULT STDMETHODCALLTYPE GetSfp(IZvSfpIp* sfpIp, IZvSmpte2059Sfp** sfp) override {
    if (sfp != nullptr) *sfp = nullptr;
    return Perform(Operation::GetSmpte2059Sfp, [&] {
      if (sfpIp == nullptr || sfp == nullptr) return ZV_E_INVALID_POINTER;
      const std::uint32_t number = sfpIp->GetSfpNumber();
      if (number != 1 && number != 2) return ZV_E_INVALID_PARAMETER;
      return Give(sfp, new Smpte2059Sfp(Reference(), number - 1));
    });
  }
};

class GenlockNotification final : public CardPart<GenlockNotification, IZvGenlockNotification> {
 public:
  using CardPart::CardPart;

  void Close() { Engine().GenlockCallbacks().UnregisterAll(this); }

  HRESULT STDMETHODCALLTYPE RegisterCallback(IZvGenlockNotificationCallback* callback) override {
    return Perform(Operation::RegisterGenlock,
                   [&] { return Engine().GenlockCallbacks().Register(this, callback); });
  }

  HRESULT STDMETHODCALLTYPE UnregisterCallback(IZvGenlockNotificationCallback* callback) override {
    return Perform(Operation::UnregisterGenlock,
                   [&] { return Engine().GenlockCallbacks().Unregister(this, callback); });
  }
};

class GenlockConfiguration final : public CardPart<GenlockConfiguration, IZvGenlockConfiguration> {
 public:
  using CardPart::CardPart;

  HRESULT STDMETHODCALLTYPE GetSettings(GenlockSettings* settings) override {
    return Fill(Operation::GetGenlockSettings, settings,
                [](const Card& card) { return card.ReadGenlockSettings(); });
  }

  HRESULT STDMETHODCALLTYPE GetNotification(IZvGenlockNotification** notification) override {
    return GivePart<GenlockNotification>(Operation::GetGenlockNotification, notification);
  }

  HRESULT STDMETHODCALLTYPE GetStatus(GenlockStatus* status) override {
    return Fill(Operation::GetGenlockStatus, status,
                [](const Card& card) { return card.ReadGenlockStatus(); });
  }
};

/// `text` is shorter than the field, which is all zero.
template <std::size_t Size>
void CopyText(const std::string& text, char (&field)[Size]) {
  text.copy(field, Size - 1);
}

class CardConfiguration final : public CardPart<CardConfiguration, IZvCardConfigurationPrivate> {
 public:
  using CardPart::CardPart;

  static bool Answers(REFIID iid) {
    return IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IZvCardConfigurationPrivate);
  }

  void Close() { Engine().MonitorDataCallbacks().UnregisterAll(this); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!IsEqualGUID(iid, IID_IZvCardConfigurationPrivate)) return CardPart::QueryInterface(iid, object);
    if (object != nullptr) *object = nullptr;
    return Perform(Operation::QueryPrivate, [&] { return CardPart::QueryInterface(iid, object); });
  }

  HRESULT STDMETHODCALLTYPE GetGenlockConfiguration(IZvGenlockConfiguration** genlock) override {
    return GivePart<GenlockConfiguration>(Operation::GetGenlockConfiguration, genlock);
  }

  HRESULT STDMETHODCALLTYPE GetCardInformation(CardInformation* information,
                                               std::uint32_t reserved) override {
    return Perform(Operation::GetCardInformation, [&] {
      if (information == nullptr) return ZV_E_INVALID_POINTER;
      if (information->size != sizeof(CardInformation) ||
          information->nested.size != sizeof(CardInformation::Nested)) {
        return ZV_E_INVALID_STRUCTURE_SIZE;
      }
      if (reserved != 0) return ZV_E_INVALID_PARAMETER;
      *information = MakeRecord<CardInformation>();
      information->modelCode = Engine().Description().modelCode;
      CopyText(Engine().Description().serialNumber, information->serialNumber);
      CopyText(Engine().Description().cardModel, information->cardModel);
      return S_OK;
    });
  }

  HRESULT STDMETHODCALLTYPE CreateSfpIpEnumerator(IZvSfpIpEnumerator** enumerator) override {
    return GivePart<SfpIpEnumerator>(Operation::CreateSfpIpEnumerator, enumerator);
  }

  HRESULT STDMETHODCALLTYPE GetSmpte2059(IZvSmpte2059** smpte2059) override {
    if (smpte2059 != nullptr) *smpte2059 = nullptr;
    return Perform(Operation::GetSmpte2059, [&] {
      if (smpte2059 == nullptr) return ZV_E_INVALID_POINTER;
      if (!Engine().Description().st2059) return S_OK;
      return Give(smpte2059, new Smpte2059(Reference()));
    });
  }

  HRESULT STDMETHODCALLTYPE
  RegisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) override {
    return Perform(Operation::RegisterMonitorData, [&] {
      const HRESULT result = Engine().MonitorDataCallbacks().Register(this, callback);
      if (SUCCEEDED(result)) Engine().Start();
      return result;
    });
  }

  HRESULT STDMETHODCALLTYPE
  UnregisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) override {
    return Perform(Operation::UnregisterMonitorData,
                   [&] { return Engine().MonitorDataCallbacks().Unregister(this, callback); });
  }

  HRESULT STDMETHODCALLTYPE GetMonitorData(MonitorDataBatch* batch) override {
    return Perform(Operation::GetMonitorData, [&] {
      if (batch == nullptr) return ZV_E_INVALID_POINTER;
      Engine().TakeMonitorData(*batch);
      return S_OK;
    });
  }
};

}  // namespace

IZvCardConfiguration* MakeCardObject(std::shared_ptr<Activation> activation, std::size_t card) {
  CardEngine* engine = &activation->Engine(card);
  return new CardConfiguration(CardReference{std::move(activation), engine});
}

}  // namespace kestrune::kit
