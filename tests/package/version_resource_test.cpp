// The version resources of fennoria.dll and fennoria.exe, read back through
// the version API as Explorer's Details page and installers read them: file
// and product version from the project's version, and the product's names.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct VersionInfo {
  std::vector<BYTE> block;
  std::wstring translation;  // "040904b0"

  explicit VersionInfo(const wchar_t* path) {
    DWORD ignored = 0;
    DWORD size = GetFileVersionInfoSizeW(path, &ignored);
    if (size == 0) return;
    block.resize(size);
    if (!GetFileVersionInfoW(path, 0, size, block.data())) {
      block.clear();
      return;
    }
    struct Translation {
      WORD language;
      WORD codePage;
    }* translations = nullptr;
    UINT length = 0;
    if (VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation",
                       reinterpret_cast<void**>(&translations), &length) &&
        length >= sizeof(Translation)) {
      wchar_t text[16];
      swprintf(text, 16, L"%04x%04x", translations[0].language, translations[0].codePage);
      translation = text;
    }
  }

  const VS_FIXEDFILEINFO* fixed() {
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (block.empty() ||
        !VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) ||
        length < sizeof(VS_FIXEDFILEINFO) || info->dwSignature != VS_FFI_SIGNATURE)
      return nullptr;
    return info;
  }

  std::wstring text(const wchar_t* name) {
    if (block.empty() || translation.empty()) return L"<no string table>";
    std::wstring query = L"\\StringFileInfo\\" + translation + L"\\" + name;
    wchar_t* value = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(block.data(), query.c_str(), reinterpret_cast<void**>(&value), &length))
      return L"<missing>";
    return std::wstring(value, length > 0 && value[length - 1] == 0 ? length - 1 : length);
  }
};

std::wstring wide(const char* text) {
  std::string narrow(text);
  return std::wstring(narrow.begin(), narrow.end());
}

void expectVersionResource(const char* path, const wchar_t* fileName, DWORD fileType) {
  VersionInfo info(wide(path).c_str());
  ASSERT_FALSE(info.block.empty()) << path << " has no version resource";
  const VS_FIXEDFILEINFO* fixed = info.fixed();
  ASSERT_NE(fixed, nullptr) << path << ": no fixed version block";
  const DWORD expectedHigh = MAKELONG(FENNORIA_EXPECTED_MINOR, FENNORIA_EXPECTED_MAJOR);
  const DWORD expectedLow = MAKELONG(0, FENNORIA_EXPECTED_PATCH);
  EXPECT_EQ(fixed->dwFileVersionMS, expectedHigh);
  EXPECT_EQ(fixed->dwFileVersionLS, expectedLow);
  EXPECT_EQ(fixed->dwProductVersionMS, expectedHigh);
  EXPECT_EQ(fixed->dwProductVersionLS, expectedLow);
  EXPECT_EQ(fixed->dwFileType, fileType);

  EXPECT_EQ(info.translation, L"040904b0");
  EXPECT_EQ(info.text(L"FileVersion"), wide(FENNORIA_EXPECTED_VERSION));
  EXPECT_EQ(info.text(L"ProductVersion"), wide(FENNORIA_EXPECTED_VERSION));
  EXPECT_EQ(info.text(L"ProductName"), L"Ormelund Fennoria");
  EXPECT_EQ(info.text(L"CompanyName"), L"Ormelund");
  EXPECT_EQ(info.text(L"OriginalFilename"), fileName);
  std::wstring description = info.text(L"FileDescription");
  EXPECT_EQ(description.rfind(L"Ormelund Fennoria ", 0), 0u) << "FileDescription: "
                                                            << std::string(description.begin(),
                                                                           description.end());
}

TEST(VersionResource, TheDllCarriesTheProjectVersionAndTheProductName) {
  expectVersionResource(FENNORIA_DLL_PATH, L"fennoria.dll", VFT_DLL);
}

TEST(VersionResource, TheToolCarriesTheProjectVersionAndTheProductName) {
  expectVersionResource(FENNORIA_EXE_PATH, L"fennoria.exe", VFT_APP);
}

}  // namespace
