#include "ui/window_thread.h"

#include <list>
#include <new>
#include <utility>

#include "ui/section_lock.h"

namespace {

// What the callers and the windows' thread share, under `lock`. The lock is
// only ever held for a few list and handle operations, never across a
// window call, so a caller holding its own filter lock never waits on the
// windows' thread.
struct Host {
  Host() {
    InitializeCriticalSection(&lock);
    wake = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  }
  ~Host() {
    if (ending) CloseHandle(ending);
    if (current) CloseHandle(current);
    if (wake) CloseHandle(wake);
    DeleteCriticalSection(&lock);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  CRITICAL_SECTION lock;
  HANDLE wake = nullptr;  // auto-reset: set when clients have news
  // Clients handed over and not yet taken by the thread.
  std::list<std::shared_ptr<WindowClient>> joining;
  // The thread that takes new clients, if any,
  HANDLE current = nullptr;
  // and the one that let go of its last client and is ending.
  HANDLE ending = nullptr;
};

Host& host() {
  static Host shared;
  return shared;
}

// A new thread's start: the module that holds its code, on which it keeps a
// reference until its very last act (so the module is not unloaded under
// it), and the thread it must outlast.
struct Start {
  HMODULE module;
  HANDLE previous;
};

// Carries out the clients' requests and pumps their messages until the
// last client is done.
void serveClients() {
  Host& h = host();
  std::list<std::shared_ptr<WindowClient>> clients;
  for (;;) {
    {
      SectionLock hold(h.lock);
      clients.splice(clients.end(), h.joining);
      if (clients.empty()) {
        // New clients now start a thread of their own, which waits for
        // this one first.
        h.ending = h.current;
        h.current = nullptr;
        return;
      }
    }
    for (auto client = clients.begin(); client != clients.end();)
      client = (*client)->serve() ? std::next(client) : clients.erase(client);
    if (clients.empty()) continue;
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
      bool handled = false;
      for (const auto& client : clients) {
        HWND dialog = client->dialog();
        if (dialog && IsDialogMessageA(dialog, &message)) {
          handled = true;
          break;
        }
      }
      if (handled) continue;
      TranslateMessage(&message);
      DispatchMessageA(&message);
    }
    if (MsgWaitForMultipleObjectsEx(1, &h.wake, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE) ==
        WAIT_FAILED)
      Sleep(10);  // never spin, whatever the wait says
  }
}

DWORD WINAPI threadMain(void* parameter) {
  HMODULE module = nullptr;
  {
    std::unique_ptr<Start> start(static_cast<Start*>(parameter));
    module = start->module;
    if (start->previous) {
      WaitForSingleObject(start->previous, INFINITE);
      CloseHandle(start->previous);
    }
    serveClients();
  }
  FreeLibraryAndExitThread(module, 0);
}

// Starts a thread for the clients waiting to join; the caller holds the lock.
bool startThread(Host& h) {
  HMODULE module = nullptr;
  if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                          reinterpret_cast<LPCSTR>(&threadMain), &module))
    return false;
  auto* start = new (std::nothrow) Start{module, h.ending};
  HANDLE thread = start ? CreateThread(nullptr, 0, threadMain, start, 0, nullptr) : nullptr;
  if (!thread) {
    delete start;
    FreeLibrary(module);
    return false;
  }
  h.ending = nullptr;  // the new thread waits for it and closes it
  h.current = thread;
  return true;
}

}  // namespace

namespace window_thread {

bool attach(std::shared_ptr<WindowClient> client) {
  Host& h = host();
  if (!h.wake || !client) return false;
  {
    SectionLock hold(h.lock);
    try {
      h.joining.push_back(std::move(client));
    } catch (const std::bad_alloc&) {
      return false;
    }
    if (!h.current && !startThread(h)) {
      h.joining.pop_back();
      return false;
    }
  }
  SetEvent(h.wake);
  return true;
}

void wake() {
  Host& h = host();
  if (h.wake) SetEvent(h.wake);
}

}  // namespace window_thread
