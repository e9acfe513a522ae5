#include "dshow/com_object.h"

namespace dshow {

namespace {
volatile LONG objectCount = 0;
volatile LONG lockCount = 0;
HINSTANCE instance = nullptr;
}  // namespace

void moduleObjectCreated() { InterlockedIncrement(&objectCount); }
void moduleObjectDestroyed() { InterlockedDecrement(&objectCount); }
void moduleLock(bool lock) {
  if (lock)
    InterlockedIncrement(&lockCount);
  else
    InterlockedDecrement(&lockCount);
}
long moduleObjectCount() { return objectCount; }
HRESULT moduleCanUnloadNow() { return objectCount == 0 && lockCount == 0 ? S_OK : S_FALSE; }

HINSTANCE moduleInstance() { return instance ? instance : GetModuleHandleA(nullptr); }
void setModuleInstance(HINSTANCE module) { instance = module; }

ComObject::ComObject(IUnknown* outer) : owner_(outer ? outer : nonDelegatingUnknown()) {
  moduleObjectCreated();
}

ComObject::~ComObject() { moduleObjectDestroyed(); }

HRESULT STDMETHODCALLTYPE ComObject::NonDelegatingQueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IUnknown)) {
    *object = nonDelegatingUnknown();
    NonDelegatingAddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE ComObject::NonDelegatingAddRef() {
  return static_cast<ULONG>(InterlockedIncrement(&references_));
}

ULONG STDMETHODCALLTYPE ComObject::NonDelegatingRelease() {
  LONG left = InterlockedDecrement(&references_);
  if (left == 0) {
    // Guards against a re-entrant release while the destructor runs.
    references_ = 1;
    delete this;
    return 0;
  }
  return static_cast<ULONG>(left);
}

}  // namespace dshow
