#include "dshow/extension_registration.h"

#include <string>

namespace dshow {

namespace {

const WCHAR kExtensions[] = L"Media Type\\Extensions";
const WCHAR kSourceFilter[] = L"Source Filter";
const WCHAR kMediaType[] = L"Media Type";
const WCHAR kSubtype[] = L"Subtype";

std::wstring guidText(const GUID& guid) {
  WCHAR text[40] = {};
  StringFromGUID2(guid, text, 40);
  return text;
}

class Key {
 public:
  Key() = default;
  ~Key() {
    if (key_) RegCloseKey(key_);
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  HKEY* out() { return &key_; }
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

// The string value `name`, or the empty string when there is none.
std::wstring readString(HKEY key, const WCHAR* name) {
  WCHAR text[64] = {};
  DWORD size = sizeof text - sizeof(WCHAR);
  DWORD type = 0;
  if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &size) !=
          ERROR_SUCCESS ||
      type != REG_SZ)
    return {};
  return text;
}

LONG writeString(HKEY key, const WCHAR* name, const std::wstring& text) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
}

// Whether the key's "Source Filter" names another filter than `ours`.
bool ownedByAnother(HKEY key, const std::wstring& ours) {
  const std::wstring named = readString(key, kSourceFilter);
  return !named.empty() && _wcsicmp(named.c_str(), ours.c_str()) != 0;
}

LONG deleteValue(HKEY key, const WCHAR* name) {
  LONG status = RegDeleteValueW(key, name);
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

// Deletes `path` when it holds neither values nor subkeys.
void deleteIfEmpty(const std::wstring& path) {
  Key key;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, key.out()) != ERROR_SUCCESS)
    return;
  DWORD subkeys = 0, values = 0;
  if (RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                       nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS ||
      subkeys != 0 || values != 0)
    return;
  RegDeleteKeyW(HKEY_CLASSES_ROOT, path.c_str());
}

LONG install(const std::wstring& path, const ExtensionSetup& setup, const std::wstring& ours) {
  Key key;
  LONG status = RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0,
                                KEY_READ | KEY_WRITE, nullptr, key.out(), nullptr);
  if (status != ERROR_SUCCESS) return status;
  if (ownedByAnother(key.get(), ours)) return ERROR_SUCCESS;
  status = writeString(key.get(), kSourceFilter, ours);
  if (status == ERROR_SUCCESS)
    status = writeString(key.get(), kMediaType, guidText(*setup.majorType));
  if (status == ERROR_SUCCESS) status = writeString(key.get(), kSubtype, guidText(*setup.subtype));
  return status;
}

LONG uninstall(const std::wstring& path, const std::wstring& ours) {
  {
    Key key;
    LONG status =
        RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ | KEY_WRITE, key.out());
    if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;  // already gone
    if (status != ERROR_SUCCESS) return status;
    if (_wcsicmp(readString(key.get(), kSourceFilter).c_str(), ours.c_str()) != 0)
      return ERROR_SUCCESS;  // not ours (any more)
    for (const WCHAR* name : {kSourceFilter, kMediaType, kSubtype}) {
      status = deleteValue(key.get(), name);
      if (status != ERROR_SUCCESS) return status;
    }
  }
  deleteIfEmpty(path);
  deleteIfEmpty(kExtensions);
  deleteIfEmpty(L"Media Type");
  return ERROR_SUCCESS;
}

}  // namespace

HRESULT registerExtension(const ExtensionSetup& setup, bool installing) {
  const std::wstring path = std::wstring(kExtensions) + L"\\" + setup.extension;
  const std::wstring ours = guidText(*setup.sourceFilter);
  const LONG status = installing ? install(path, setup, ours) : uninstall(path, ours);
  return HRESULT_FROM_WIN32(status);
}

}  // namespace dshow
