#include "kit/system_objects.h"

#include <atomic>
#include <utility>
#include <variant>

#include "diag/result_codes.h"
#include "kit/card_objects.h"
#include "kit/com_object.h"

namespace kestrune::kit {
namespace {

class CardEnumerator final : public ComObject<CardEnumerator, IZvSystemConfigurationCardEnumerator> {
 public:
  explicit CardEnumerator(std::shared_ptr<Activation> activation) : activation_(std::move(activation)) {}

  HRESULT STDMETHODCALLTYPE Next(IZvCardConfiguration** card) override {
    if (card != nullptr) *card = nullptr;
    if (const auto fault = activation_->Strike(Operation::NextCard)) return *fault;
    if (card == nullptr) return ZV_E_INVALID_POINTER;
    const std::size_t index = next_++;
    if (index >= activation_->CardCount()) return ZV_E_END_OF_ENUM;
    return Give(card, MakeCardObject(activation_, index));
  }

 private:
  const std::shared_ptr<Activation> activation_;
  std::atomic<std::size_t> next_ = 0;
};

class SystemConfiguration final : public ComObject<SystemConfiguration, IZvSystemConfiguration> {
 public:
  explicit SystemConfiguration(std::shared_ptr<Activation> activation) : activation_(std::move(activation)) {}

  static bool Answers(REFIID iid) {
    return IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IZvSystemConfiguration);
  }

  HRESULT STDMETHODCALLTYPE GetCardEnumerator(IZvSystemConfigurationCardEnumerator** enumerator) override {
    if (enumerator != nullptr) *enumerator = nullptr;
    if (const auto fault = activation_->Strike(Operation::GetCardEnumerator)) return *fault;
    if (enumerator == nullptr) return ZV_E_INVALID_POINTER;
    return Give(enumerator, new CardEnumerator(activation_));
  }

 private:
  const std::shared_ptr<Activation> activation_;
};

class ClassFactory final : public ComObject<ClassFactory, IClassFactory> {
 public:
  explicit ClassFactory(std::variant<System, HRESULT> (*makeSystem)()) : makeSystem_(makeSystem) {}

  static bool Answers(REFIID iid) {
    return IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IClassFactory);
  }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;

    auto made = makeSystem_();
    if (const auto* failure = std::get_if<HRESULT>(&made)) return *failure;
    const auto activation = std::make_shared<Activation>(
        std::move(std::get<System>(made)), std::shared_ptr<Clock>(std::shared_ptr<void>(), &SystemClock()));
    if (const auto fault = activation->Strike(Operation::CreateSystemConfiguration)) return *fault;
    IZvSystemConfiguration* system = MakeSystemConfiguration(activation);
    const HRESULT result = system->QueryInterface(iid, object);
    system->Release();
    return result;
  }

  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    libraryUses += lock ? 1 : -1;
    return S_OK;
  }

 private:
  std::variant<System, HRESULT> (*const makeSystem_)();
};

}  // namespace

IZvSystemConfiguration* MakeSystemConfiguration(std::shared_ptr<Activation> activation) {
  return new SystemConfiguration(std::move(activation));
}

IClassFactory* MakeClassFactory(std::variant<System, HRESULT> (*makeSystem)()) {
  return new ClassFactory(makeSystem);
}

}  // namespace kestrune::kit
