// Shared pieces of the COM server tests: the DLL under test, registered for
// the whole test program; COM set up per test; the settings key; paths.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

namespace com_tests {

// The DLL's Windows path and its module, loaded and registered (with its own
// DllRegisterServer) for the whole run, unregistered at the end.
std::wstring dllPath();
HMODULE dllModule();
// The DLL's DllRegisterServer (the run's registration, again).
HRESULT dllRegisterServer();
// The DLL's DllCanUnloadNow.
HRESULT dllCanUnloadNow();

// The bundled samples as Windows paths ("Z:\...").
std::string samplePath(const std::string& relative);
std::wstring wide(const std::string& text);

// A fresh folder of the test's own under %TEMP%, removed at the end.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  std::string path(const std::string& leaf) const { return root_ + "\\" + leaf; }
  std::string write(const std::string& leaf, const std::string& bytes) const;

 private:
  std::string root_;
};

bool fileExists(const std::string& path);

// The sample clips (list/clipN.mpg) by short name: "clip1" and so on.
using Clips = std::vector<std::string>;
inline const Clips kAllClips = {"clip1", "clip2", "clip3"};
// A list file "sample.lst" in `temp` naming the clips by their Windows
// paths, each line ended by CR LF; an empty name is an empty line.
std::string writeClipList(const TempFolder& temp, const Clips& clips = kAllClips);
// The clips' bytes, joined (empty names add nothing).
std::string joinedClips(const Clips& clips = kAllClips);
// The sample disc's title set 1 (VTS_01_1.VOB to VTS_01_3.VOB), joined.
std::string joinedTitleVobs();

// The settings key the filter reads, written in the real registry of the
// prefix and removed (with its parents when they are left empty) by
// clearSettings().
void storeSetting(const char* name, DWORD value);
void clearSettings();

// The IUnknown of an interface pointer (its COM identity).
IUnknown* identityOf(IUnknown* face);

// Checks the rules of QueryInterface over `iids` starting from `object`:
// every interface gives back the same IUnknown, asks for itself successfully,
// and reaches every other interface the object gave. Returns a description
// of the first broken rule, or the empty string.
std::string checkQueryInterfaceRules(IUnknown* object, const std::vector<IID>& iids);

}  // namespace com_tests
