#include "simulated/system_objects.h"

#include <atomic>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "diag/result_codes.h"
#include "simulated/builtin_scenario.h"
#include "simulated/card_objects.h"
#include "simulated/com_object.h"
#include "simulated/scenario_reader.h"

namespace kestrune::simulated {
namespace {

class CardEnumerator final : public ComObject<CardEnumerator, IZvSystemConfigurationCardEnumerator> {
 public:
  explicit CardEnumerator(std::shared_ptr<Simulation> simulation) : simulation_(std::move(simulation)) {}

  HRESULT STDMETHODCALLTYPE Next(IZvCardConfiguration** card) override {
    if (card != nullptr) *card = nullptr;
    if (const auto fault = simulation_->Strike(Operation::NextCard)) return *fault;
    if (card == nullptr) return ZV_E_INVALID_POINTER;
    const std::size_t index = next_++;
    if (index >= simulation_->CardCount()) return ZV_E_END_OF_ENUM;
    return Give(card, MakeCardObject(simulation_, index));
  }

 private:
  const std::shared_ptr<Simulation> simulation_;
  std::atomic<std::size_t> next_ = 0;
};

class SystemConfiguration final : public ComObject<SystemConfiguration, IZvSystemConfiguration> {
 public:
  explicit SystemConfiguration(std::shared_ptr<Simulation> simulation) : simulation_(std::move(simulation)) {}

  static bool Answers(REFIID iid) {
    return IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IZvSystemConfiguration);
  }

  HRESULT STDMETHODCALLTYPE GetCardEnumerator(IZvSystemConfigurationCardEnumerator** enumerator) override {
    if (enumerator != nullptr) *enumerator = nullptr;
    if (const auto fault = simulation_->Strike(Operation::GetCardEnumerator)) return *fault;
    if (enumerator == nullptr) return ZV_E_INVALID_POINTER;
    return Give(enumerator, new CardEnumerator(simulation_));
  }

 private:
  const std::shared_ptr<Simulation> simulation_;
};

class ClassFactory final : public ComObject<ClassFactory, IClassFactory> {
 public:
  static bool Answers(REFIID iid) {
    return IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IClassFactory);
  }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;

    const std::string path = ScenarioPath();
    auto scenario =
        path.empty() ? std::variant<Scenario, ScenarioError>(BuiltinScenario()) : ReadScenario(path);
    if (const auto* error = std::get_if<ScenarioError>(&scenario)) {
      std::fprintf(stderr, "zvsimcard: %s\n", error->text.c_str());
      return ZV_E_INVALID_FILE_FORMAT;
    }
    const auto simulation =
        std::make_shared<Simulation>(std::move(std::get<Scenario>(scenario)), MakeSystemClock());
    if (const auto fault = simulation->Strike(Operation::CreateSystemConfiguration)) return *fault;
    IZvSystemConfiguration* system = MakeSystemConfiguration(simulation);
    const HRESULT result = system->QueryInterface(iid, object);
    system->Release();
    return result;
  }

  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    libraryUses += lock ? 1 : -1;
    return S_OK;
  }
};

}  // namespace

IZvSystemConfiguration* MakeSystemConfiguration(std::shared_ptr<Simulation> simulation) {
  return new SystemConfiguration(std::move(simulation));
}

IClassFactory* MakeClassFactory() { return new ClassFactory; }

}  // namespace kestrune::simulated
