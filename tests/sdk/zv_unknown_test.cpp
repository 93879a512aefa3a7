#include "sdk/zv_unknown.h"

#include <gtest/gtest.h>

#include <vector>

#include "sdk/callbacks.h"
#include "sdk/zv_smart_ptr.h"

namespace kestrune {
namespace {

ULONG References(GenlockStatusCallback& callback) {
  callback.AddRef();
  return callback.Release();
}

TEST(ZvUnknown, LastReleaseDeletes) {
  const auto before = CZvUnknown::LiveObjects();
  auto* callback = new GenlockStatusCallback(nullptr);
  EXPECT_EQ(CZvUnknown::LiveObjects(), before + 1);
  EXPECT_EQ(callback->AddRef(), 1U);
  EXPECT_EQ(callback->AddRef(), 2U);
  EXPECT_EQ(callback->AddRef(), 3U);
  EXPECT_EQ(callback->Release(), 2U);
  EXPECT_EQ(callback->Release(), 1U);
  EXPECT_EQ(callback->Release(), 0U);
  EXPECT_EQ(CZvUnknown::LiveObjects(), before);
}

TEST(ZvUnknown, MayBeLentDuringItsDestruction) {
  struct Lending : CZvUnknown {
    explicit Lending(int& count) : CZvUnknown(L"Lending"), destructions(count) {}
    ~Lending() override {
      if (++destructions > 1) return;  // or it would never end
      NonDelegatingAddRef();
      NonDelegatingRelease();
    }
    int& destructions;
  };
  int destructions = 0;
  auto* object = new Lending(destructions);
  object->NonDelegatingAddRef();
  object->NonDelegatingRelease();
  EXPECT_EQ(destructions, 1);
}

TEST(ZvUnknown, AnswersOnlyIUnknown) {
  TZvSmartPtr<GenlockStatusCallback> callback;
  callback = new GenlockStatusCallback(nullptr);
  void* object = *callback;
  EXPECT_EQ(callback->QueryInterface(IID_IZvSystemConfiguration, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);

  ASSERT_EQ(callback->QueryInterface(IID_IUnknown, &object), S_OK);
  auto* unknown = static_cast<IUnknown*>(object);
  EXPECT_EQ(unknown->AddRef(), 3U);
  EXPECT_EQ(unknown->Release(), 2U);
  EXPECT_EQ(unknown->Release(), 1U);
}

TEST(ZvUnknown, AggregatedInterfacesForwardToTheOuterObject) {
  struct Outer : CZvUnknown {
    Outer() : CZvUnknown(L"Outer") {}
  };
  struct Inner : CZvUnknown, IZvSmpte2059MonitorDataNotificationCallback {
    explicit Inner(INonDelegatingUnknown* outer) : CZvUnknown(L"Inner", outer) {}
    ZV_FORWARD_UNKNOWN(override)
    HRESULT STDMETHODCALLTYPE OnMonitorDataReady() override { return S_OK; }
  };
  auto* outer = new Outer;
  Inner inner(outer);
  EXPECT_EQ(outer->NonDelegatingAddRef(), 1U);
  EXPECT_EQ(inner.AddRef(), 2U);
  EXPECT_EQ(outer->NonDelegatingRelease(), 1U);
  EXPECT_EQ(inner.Release(), 0U);
}

TEST(ZvSmartPtr, EachOperationsEffectOnTheCount) {
  const auto before = CZvUnknown::LiveObjects();
  auto* first = new GenlockStatusCallback(nullptr);
  {
    TZvSmartPtr<GenlockStatusCallback> pointer;
    EXPECT_TRUE(pointer.IsNull());
    EXPECT_TRUE(pointer == nullptr);
    EXPECT_EQ(pointer = first, first);
    EXPECT_EQ(References(*first), 1U);
    pointer = first;  // itself: taken before given back
    EXPECT_EQ(References(*first), 1U);
    EXPECT_EQ(pointer.Get(), first);
    EXPECT_EQ(*pointer, first);
    EXPECT_TRUE(pointer == first);
    {
      const std::vector<TZvSmartPtr<GenlockStatusCallback>> copies(2, pointer);
      EXPECT_EQ(References(*first), 3U);
    }
    EXPECT_EQ(References(*first), 1U);

    auto* second = new GenlockStatusCallback(nullptr);
    pointer = second;
    EXPECT_EQ(CZvUnknown::LiveObjects(), before + 1) << "the first is gone";
    pointer = nullptr;
    EXPECT_TRUE(pointer.IsNull());
    EXPECT_EQ(CZvUnknown::LiveObjects(), before);

    auto* third = new GenlockStatusCallback(nullptr);
    third->AddRef();
    *&pointer = third;  // as a creating call does: the reference comes with it
    EXPECT_EQ(References(*third), 1U);
  }
  EXPECT_EQ(CZvUnknown::LiveObjects(), before);
}

template <class Misuse>
std::string MessageOf(Misuse misuse) {
  try {
    misuse();
  } catch (const CZvBaseException& exception) {
    return exception.Message();
  }
  return "nothing thrown";
}

TEST(ZvSmartPtr, MisuseThrows) {
  TZvSmartPtr<GenlockStatusCallback> pointer;
  EXPECT_EQ(MessageOf([&] { (void)*pointer; }), "TZvSmartPtr::operator* -> Internal pointer is NULL!");
  EXPECT_EQ(MessageOf([&] { pointer->AddRef(); }), "TZvSmartPtr::operator-> -> Internal pointer is NULL!");
  auto* callback = new GenlockStatusCallback(nullptr);
  pointer = callback;
  EXPECT_EQ(MessageOf([&] { (void)&pointer; }),
            "TZvSmartPtr::operator& -> Internal pointer will be overriden!");
  EXPECT_EQ(pointer.Get(), callback);
  EXPECT_EQ(References(*callback), 1U);
}

}  // namespace
}  // namespace kestrune
