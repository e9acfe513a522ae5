// The base filter: IBaseFilter (with IMediaFilter and IPersist) and
// IAMovieSetup over a set of pins that the derived filter supplies.
//
// State changes run under the filter lock, which the derived filter owns and
// hands in (the same lock its pins use). Going from stopped to paused or
// running activates every pin; stopping deactivates them.
#pragma once

#include <windows.h>
#include <dshow.h>

#include "dshow/com_object.h"

namespace dshow {

class BasePin;
struct FilterSetup;

class BaseFilter : public ComObject, public IBaseFilter, public IAMovieSetup {
 public:
  BaseFilter(IUnknown* outer, const CLSID& clsid, CRITICAL_SECTION* lock);
  ~BaseFilter() override;

  DSHOW_DELEGATING_UNKNOWN
  // IBaseFilter, IMediaFilter, IPersist, IAMovieSetup and IUnknown.
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) override;

  // The pins: a count and the pin at an index (null when there is none).
  virtual int GetPinCount() = 0;
  virtual BasePin* GetPin(int n) = 0;
  // The registration data IAMovieSetup uses; null: none.
  virtual const FilterSetup* GetSetupData() { return nullptr; }

  // IPersist
  HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override;
  // IMediaFilter
  HRESULT STDMETHODCALLTYPE Stop() override;
  HRESULT STDMETHODCALLTYPE Pause() override;
  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
  HRESULT STDMETHODCALLTYPE GetState(DWORD timeout, FILTER_STATE* state) override;
  HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) override;
  HRESULT STDMETHODCALLTYPE GetSyncSource(IReferenceClock** clock) override;
  // IBaseFilter
  HRESULT STDMETHODCALLTYPE EnumPins(IEnumPins** pins) override;
  HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR id, IPin** pin) override;
  HRESULT STDMETHODCALLTYPE QueryFilterInfo(FILTER_INFO* info) override;
  HRESULT STDMETHODCALLTYPE JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
  HRESULT STDMETHODCALLTYPE QueryVendorInfo(LPWSTR* info) override;
  // IAMovieSetup: registers or unregisters GetSetupData() with the filter mapper.
  HRESULT STDMETHODCALLTYPE Register() override;
  HRESULT STDMETHODCALLTYPE Unregister() override;

  FILTER_STATE state() const { return state_; }
  IFilterGraph* graph() const { return graph_; }
  CRITICAL_SECTION* lock() const { return lock_; }

 protected:
  CRITICAL_SECTION* lock_;
  CLSID clsid_;
  FILTER_STATE state_ = State_Stopped;
  REFERENCE_TIME start_ = 0;
  IReferenceClock* clock_ = nullptr;
  IFilterGraph* graph_ = nullptr;  // not referenced: the graph owns us
  WCHAR name_[MAX_FILTER_NAME] = {};
};

// Holds a critical section for one scope.
class Locked {
 public:
  explicit Locked(CRITICAL_SECTION* section) : section_(section) { EnterCriticalSection(section_); }
  ~Locked() { LeaveCriticalSection(section_); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  CRITICAL_SECTION* section_;
};

}  // namespace dshow
