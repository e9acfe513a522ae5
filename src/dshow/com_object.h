// The COM object base of our DirectShow framework: a non-delegating IUnknown
// that supports aggregation, and the module's object and lock counts that
// DllCanUnloadNow reports.
//
// Every object has two IUnknowns. The non-delegating one (INonDelegatingUnknown)
// owns the reference count and answers QueryInterface for the object's own
// interfaces. The IUnknown methods of every interface the object exposes go to
// the "owner": the outer unknown when the object is aggregated, otherwise the
// object's own non-delegating unknown.
#pragma once

#include <windows.h>
#include <unknwn.h>

#include <new>

namespace dshow {

// Same slot layout as IUnknown, so a pointer to it can serve as the IUnknown
// of an object that is not aggregated.
struct INonDelegatingUnknown {
  virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;
};

// Module-wide counts.
void moduleObjectCreated();
void moduleObjectDestroyed();
void moduleLock(bool lock);
// S_OK when no object and no lock of the module is alive, else S_FALSE.
HRESULT moduleCanUnloadNow();
long moduleObjectCount();

// The module that holds our resources: the DLL once DllMain has run,
// otherwise the program.
HINSTANCE moduleInstance();
void setModuleInstance(HINSTANCE instance);

class ComObject : public INonDelegatingUnknown {
 public:
  explicit ComObject(IUnknown* outer);
  virtual ~ComObject();
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  // Answers IUnknown with the non-delegating unknown.
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE NonDelegatingAddRef() override;
  ULONG STDMETHODCALLTYPE NonDelegatingRelease() override;

  // The outer unknown, or our own non-delegating unknown.
  IUnknown* owner() const { return owner_; }
  IUnknown* nonDelegatingUnknown() {
    return reinterpret_cast<IUnknown*>(static_cast<INonDelegatingUnknown*>(this));
  }

 protected:
  volatile LONG references_ = 0;

 private:
  IUnknown* owner_;
};

// Runs `work` and returns its HRESULT; an exception, which must never reach
// the caller's code, becomes E_OUTOFMEMORY (a failed allocation) or E_FAIL.
template <class Work>
HRESULT guarded(Work&& work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
}

// Hands out `face` with a reference added.
inline HRESULT getInterface(IUnknown* face, void** object) {
  *object = face;
  face->AddRef();
  return S_OK;
}

}  // namespace dshow

// The three IUnknown methods of every interface of an object, sent to its
// owner.
#define DSHOW_DELEGATING_UNKNOWN                                                  \
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override { \
    return owner()->QueryInterface(iid, object);                                  \
  }                                                                               \
  ULONG STDMETHODCALLTYPE AddRef() override { return owner()->AddRef(); }         \
  ULONG STDMETHODCALLTYPE Release() override { return owner()->Release(); }
