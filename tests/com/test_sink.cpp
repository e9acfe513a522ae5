#include "com/test_sink.h"

namespace com_tests {

namespace {
// {6B1F0C55-3E0A-4F7C-9D21-8A5C7E3B2D10}
const CLSID kTestSinkClsid = {
    0x6b1f0c55, 0x3e0a, 0x4f7c, {0x9d, 0x21, 0x8a, 0x5c, 0x7e, 0x3b, 0x2d, 0x10}};
}  // namespace

DWORD WINAPI TestSinkPin::pull(void* self) {
  auto* pin = static_cast<TestSinkPin*>(self);
  pin->lengthResult = pin->reader->Length(&pin->total, &pin->available);
  BYTE head[4] = {};
  pin->readResult = pin->reader->SyncRead(0, 4, head);
  pin->firstBytes.assign(reinterpret_cast<char*>(head), 4);
  return 0;
}

HRESULT TestSinkPin::readerTaken() {
  HANDLE thread = CreateThread(nullptr, 0, pull, this, 0, nullptr);
  pulledInTime = thread && WaitForSingleObject(thread, 10000) == WAIT_OBJECT_0;
  if (thread) CloseHandle(thread);
  if (!pulledInTime) return VFW_E_TIMEOUT;  // the source held a lock across our call
  return S_OK;
}

TestSink::TestSink() : StreamSink(kTestSinkClsid) {}

}  // namespace com_tests
