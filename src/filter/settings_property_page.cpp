#include "filter/settings_property_page.h"

#include <new>

#include "ui/dialog_ids.h"
#include "ui/settings_page.h"

namespace {

bool isChoiceControl(int id, int code) {
  switch (id) {
    case IDC_READ_MODE:
    case IDC_TITLE_SET:
    case IDC_AUDIO:
      return code == CBN_SELCHANGE;
    case IDC_PROGRAM_CHAIN:
      return code == LBN_SELCHANGE;
    case IDC_PLAYBACK_ORDER:
    case IDC_STANDARD_READS:
      return code == BN_CLICKED;
    default:
      return false;
  }
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

// The line under a disc that was read.
std::string discLine(const DiscSummary& disc) {
  const std::size_t sets = disc.titleSets.size();
  return disc.location + ": " + std::to_string(sets) + (sets == 1 ? " title set" : " title sets");
}

// The status line for the file the filter named (`found`, from
// GetDiscFile) and the disc read from it.
std::string statusOf(HRESULT found, const DiscSummary& disc) {
  switch (found) {
    case S_OK:
      return disc.readable ? discLine(disc) : disc.problem;
    case S_FALSE:
      return "No file loaded yet: give the filter a list, a VOB file or a disc image.";
    case E_PENDING:
      return "The filter is busy reading: open the page again to see its disc.";
    default:
      return "No filter: the page shows the settings of the filter it is opened for.";
  }
}

}  // namespace

IUnknown* SettingsPropertyPage::CreateInstance(IUnknown* outer, HRESULT* result) {
  auto* page = new (std::nothrow) SettingsPropertyPage(outer);
  if (!page) {
    *result = E_OUTOFMEMORY;
    return nullptr;
  }
  *result = S_OK;
  page->NonDelegatingAddRef();
  return page->nonDelegatingUnknown();
}

SettingsPropertyPage::SettingsPropertyPage(IUnknown* outer)
    : dshow::BasePropertyPage(outer, IDD_SETTINGS, IDS_SETTINGS_TITLE) {}

SettingsPropertyPage::~SettingsPropertyPage() { release(); }

void SettingsPropertyPage::release() {
  if (access_) access_->Release();
  if (control_) control_->Release();
  access_ = nullptr;
  control_ = nullptr;
}

HRESULT SettingsPropertyPage::OnConnect(IUnknown* object) {
  if (!object) return E_POINTER;
  object->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&control_));
  object->QueryInterface(IID_ISettingsPageAccess, reinterpret_cast<void**>(&access_));
  if (!control_ || !access_) {
    release();
    return E_NOINTERFACE;
  }
  SettingsChoice held;
  access_->GetHeldChoice(&held);
  choice_ = effectiveChoice(held);
  setDirty(false);
  return S_OK;
}

void SettingsPropertyPage::OnDisconnect() { release(); }

HRESULT SettingsPropertyPage::OnApplyChanges() {
  if (!control_) return E_UNEXPECTED;
  return dshow::guarded([this] {
    SettingsChoice& c = choice_;
    control_->SetReadMode(c.readMode);
    control_->SetTitle(c.titleSet);
    control_->SetPgc(c.pgc);
    control_->SetAudioStream(c.audioNumber);
    // The host's demultiplexing tracks stay; otherwise the one kept stream
    // becomes the pin's only audio track.
    if (c.audioTracks <= 1) {
      access_->ClearAudioTracks();
      const bool kept = c.keptAudio != SettingsChoice::kAllAudio;
      if (kept) control_->AddAudioStream(nullptr, c.keptAudioType, c.keptAudio);
      c.audioTracks = kept ? 1 : 0;
    }
    access_->SetReadDefaults(c.playbackOrder, c.standardReads);
    const std::vector<std::string> overrides = storedOverrides(c);
    say(overrides.empty()
            ? "Applied: the pin reads this when it is next connected."
            : "Applied, but stored defaults win when the pin connects: " + joined(overrides));
    return S_OK;
  });
}

INT_PTR SettingsPropertyPage::OnReceiveMessage(HWND window, UINT message, WPARAM wParam,
                                               LPARAM lParam) {
  bool handled = false;
  dshow::guarded([&] {
    if (message == WM_INITDIALOG) {
      showDisc(window);
      handled = true;
    } else if (message == WM_COMMAND) {
      const int id = LOWORD(wParam), code = HIWORD(wParam);
      if (id == IDC_SAVE_DEFAULT && code == BN_CLICKED) {
        onSaveAsDefault(window);
        handled = true;
      } else if (isChoiceControl(id, code)) {
        onControlChanged(window);
        handled = true;
      }
    }
    return S_OK;
  });
  if (handled) return TRUE;
  return BasePropertyPage::OnReceiveMessage(window, message, wParam, lParam);
}

void SettingsPropertyPage::showDisc(HWND window) {
  disc_ = DiscSummary{};
  std::string file;
  const HRESULT found = access_ ? access_->GetDiscFile(&file) : E_UNEXPECTED;
  if (found == S_OK) disc_ = summariseDisc(file);
  showSettings(window, disc_, choice_);
  setStatusLine(window, statusOf(found, disc_));
}

void SettingsPropertyPage::onControlChanged(HWND window) {
  const SettingsChoice before = choice_;
  SettingsRead read = readSettings(window, disc_, choice_);
  choice_ = read.choice;
  refreshSettings(window, disc_, before, choice_);
  if (!read.refused.empty()) say(read.refused);
  if (choice_ != before) setDirty(true);
}

void SettingsPropertyPage::onSaveAsDefault(HWND) {
  saveAsDefault(choice_);
  say(choice_.keptAudio == SettingsChoice::kAllAudio
          ? "Saved as this user's defaults for every connection."
          : "Saved as this user's defaults; the one audio stream is kept by Apply only.");
}

void SettingsPropertyPage::say(const std::string& text) {
  if (window()) setStatusLine(window(), text);
}
