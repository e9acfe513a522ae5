#include "com/com_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

#include "support/file_bytes.h"

namespace com_tests {

namespace {

HMODULE loaded = nullptr;

using Entry = HRESULT(STDAPICALLTYPE*)();
Entry entryPoint(const char* name) {
  return loaded ? reinterpret_cast<Entry>(reinterpret_cast<void*>(GetProcAddress(loaded, name)))
                : nullptr;
}

std::string toWindows(std::string path) {
  for (char& c : path)
    if (c == '/') c = '\\';
  return path;
}

// Registers the DLL for the run, as regsvr32 would, and removes it at the end.
class ServerEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    loaded = LoadLibraryW(dllPath().c_str());
    ASSERT_NE(loaded, nullptr) << "cannot load the DLL";
    Entry registerServer = entryPoint("DllRegisterServer");
    ASSERT_NE(registerServer, nullptr);
    ASSERT_EQ(registerServer(), S_OK);
  }
  void TearDown() override {
    if (loaded) {
      Entry unregisterServer = entryPoint("DllUnregisterServer");
      if (unregisterServer) unregisterServer();
    }
    clearSettings();
    CoUninitialize();
  }
};

const testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new ServerEnvironment);

}  // namespace

std::wstring dllPath() { return wide(toWindows(FENNORIA_DLL_PATH)); }
HMODULE dllModule() { return loaded; }

HRESULT dllRegisterServer() {
  Entry registerServer = entryPoint("DllRegisterServer");
  return registerServer ? registerServer() : E_FAIL;
}

HRESULT dllCanUnloadNow() {
  Entry canUnload = entryPoint("DllCanUnloadNow");
  return canUnload ? canUnload() : E_FAIL;
}

std::string samplePath(const std::string& relative) {
  return toWindows(std::string(FENNORIA_SAMPLES_DIR) + "/" + relative);
}

std::string writeClipList(const TempFolder& temp, const Clips& clips) {
  std::string text;
  for (const std::string& clip : clips)
    text += (clip.empty() ? std::string() : samplePath("list/" + clip + ".mpg")) + "\r\n";
  return temp.write("sample.lst", text);
}

std::string joinedTitleVobs() {
  return testing_support::fileBytes(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")) +
         testing_support::fileBytes(samplePath("dvd/VIDEO_TS/VTS_01_2.VOB")) +
         testing_support::fileBytes(samplePath("dvd/VIDEO_TS/VTS_01_3.VOB"));
}

std::string joinedClips(const Clips& clips) {
  std::string bytes;
  for (const std::string& clip : clips)
    if (!clip.empty()) bytes += testing_support::fileBytes(samplePath("list/" + clip + ".mpg"));
  return bytes;
}

std::wstring wide(const std::string& text) {
  std::wstring result;
  for (char c : text) result += static_cast<wchar_t>(static_cast<unsigned char>(c));
  return result;
}

TempFolder::TempFolder() {
  char base[MAX_PATH] = {};
  GetTempPathA(MAX_PATH, base);
  static int counter = 0;
  std::ostringstream name;
  name << base << "fennoria-com-" << GetCurrentProcessId() << "-" << counter++;
  root_ = name.str();
  CreateDirectoryA(root_.c_str(), nullptr);
}

TempFolder::~TempFolder() {
  WIN32_FIND_DATAA found;
  HANDLE search = FindFirstFileA((root_ + "\\*").c_str(), &found);
  if (search != INVALID_HANDLE_VALUE) {
    do {
      std::string leaf = found.cFileName;
      if (leaf != "." && leaf != "..") DeleteFileA((root_ + "\\" + leaf).c_str());
    } while (FindNextFileA(search, &found));
    FindClose(search);
  }
  RemoveDirectoryA(root_.c_str());
}

std::string TempFolder::write(const std::string& leaf, const std::string& bytes) const {
  std::string full = path(leaf);
  FILE* file = std::fopen(full.c_str(), "wb");
  if (file) {
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
  }
  return full;
}

bool fileExists(const std::string& path) {
  return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void storeSetting(const char* name, DWORD value) {
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "SOFTWARE\\Ormelund\\Trivane\\Fennoria", 0, nullptr,
                            0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
  RegCloseKey(key);
}

void clearSettings() {
  RegDeleteTreeA(HKEY_CURRENT_USER, "SOFTWARE\\Ormelund\\Trivane\\Fennoria");
  RegDeleteKeyA(HKEY_CURRENT_USER, "SOFTWARE\\Ormelund\\Trivane\\Fennoria");
  // The parents go only when nothing else lives under them.
  RegDeleteKeyA(HKEY_CURRENT_USER, "SOFTWARE\\Ormelund\\Trivane");
  RegDeleteKeyA(HKEY_CURRENT_USER, "SOFTWARE\\Ormelund");
}

IUnknown* identityOf(IUnknown* face) {
  IUnknown* identity = nullptr;
  if (FAILED(face->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)))) return nullptr;
  identity->Release();
  return identity;
}

std::string checkQueryInterfaceRules(IUnknown* object, const std::vector<IID>& iids) {
  IUnknown* identity = identityOf(object);
  if (!identity) return "no IUnknown";
  for (std::size_t a = 0; a < iids.size(); ++a) {
    IUnknown* first = nullptr;
    std::ostringstream where;
    where << "interface #" << a;
    if (object->QueryInterface(iids[a], reinterpret_cast<void**>(&first)) != S_OK || !first)
      return where.str() + " not given";
    if (identityOf(first) != identity) {
      first->Release();
      return where.str() + " has another identity";
    }
    IUnknown* self = nullptr;
    if (first->QueryInterface(iids[a], reinterpret_cast<void**>(&self)) != S_OK) {
      first->Release();
      return where.str() + " does not give itself";
    }
    self->Release();
    for (std::size_t b = 0; b < iids.size(); ++b) {
      IUnknown* second = nullptr;
      if (first->QueryInterface(iids[b], reinterpret_cast<void**>(&second)) != S_OK) {
        first->Release();
        std::ostringstream message;
        message << where.str() << " does not reach interface #" << b;
        return message.str();
      }
      IUnknown* back = nullptr;
      HRESULT hr = second->QueryInterface(iids[a], reinterpret_cast<void**>(&back));
      second->Release();
      if (hr != S_OK) {
        first->Release();
        std::ostringstream message;
        message << "interface #" << b << " does not lead back to #" << a;
        return message.str();
      }
      back->Release();
    }
    first->Release();
  }
  return std::string();
}

}  // namespace com_tests
