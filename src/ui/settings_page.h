// The Settings page's controls (dialog IDD_SETTINGS, title string
// IDS_SETTINGS_TITLE): the read mode, the loaded disc's title sets, program
// chains and audio streams, the two read options, "Save as default" and the
// status line.
//
// These functions only put a disc and a choice into the controls and read
// the choice back; the filter's property page object decides what the
// choice does.
#pragma once

#include <windows.h>

#include <string>

#include "ui/disc_summary.h"
#include "ui/settings_choice.h"

// Fills every control from `disc` and `choice` and enables those that mean
// something in the choice's read mode.
void showSettings(HWND page, const DiscSummary& disc, const SettingsChoice& choice);

// After the user changed `before` into `after`: refills only the lists that
// depend on what changed (a list is never refilled while it is the one
// being used) and enables the controls for the read mode.
void refreshSettings(HWND page, const DiscSummary& disc, const SettingsChoice& before,
                     const SettingsChoice& after);

struct SettingsRead {
  SettingsChoice choice;
  // Why part of what the controls show could not be chosen; empty if all was.
  std::string refused;
};

// The choice the controls show, starting from `held` for what they cannot
// show (a title set or chain the disc does not have, the host's tracks). A
// new title set starts at its first chain with every audio stream; an audio
// stream that cannot be delivered alone leaves the audio as it was.
SettingsRead readSettings(HWND page, const DiscSummary& disc, const SettingsChoice& held);

// The one line at the bottom of the page.
void setStatusLine(HWND page, const std::string& text);
