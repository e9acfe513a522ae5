// What the Settings page reads from the filter, and the choices it applies
// that the control interface has no setter for.
//
// Internal to the DLL, which builds the page and the filter together: the
// page reaches it by QueryInterface on the object the frame gives it, and it
// carries C++ types. Nothing in it waits for long: the filter lock is only
// tried (see GetDiscFile).
#pragma once

#include <windows.h>
#include <unknwn.h>

#include <cstdint>
#include <string>

#include "ui/settings_choice.h"

// {B37D602F-222E-42D6-97F9-2BDB3C1277F3}
static const IID IID_ISettingsPageAccess = {
    0xb37d602f, 0x222e, 0x42d6, {0x97, 0xf9, 0x2b, 0xdb, 0x3c, 0x12, 0x77, 0xf3}};

struct ISettingsPageAccess : public IUnknown {
  // The file whose disc DVD mode reads: the list's current file, or, when
  // the filter holds no list (after Stop), the first file of the loaded
  // list read again. S_OK with the name; S_FALSE with an empty name when
  // nothing is loaded; E_PENDING when the filter lock stayed taken (a read
  // waiting on its own message, say) for half a second.
  virtual HRESULT STDMETHODCALLTYPE GetDiscFile(std::string* file) = 0;
  // The pin's settings as they are held now (what the control interface
  // set or a saved graph loaded, not the stored values that win at
  // connection), with its audio tracks and read defaults.
  virtual HRESULT STDMETHODCALLTYPE GetHeldChoice(SettingsChoice* held) = 0;
  // Empties the pin's audio track list, leaving every other setting alone.
  virtual HRESULT STDMETHODCALLTYPE ClearAudioTracks() = 0;
  // The values "DvdPlaybackOrder" and "StandardReads" take at connection
  // when they are not stored.
  virtual HRESULT STDMETHODCALLTYPE SetReadDefaults(std::int32_t playbackOrder,
                                                    std::int32_t standardReads) = 0;
};
