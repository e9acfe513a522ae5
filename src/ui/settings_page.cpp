#include "ui/settings_page.h"

#include "ui/dialog_ids.h"

namespace {

// The read modes in the order of the read mode list.
constexpr std::int32_t kModes[] = {0, 2, 1};
constexpr std::int32_t kModeCount = 3;
// Where the chain list's columns start (duration, chapters), in dialog units.
const INT kChainColumns[] = {20, 80};

std::int32_t modeIndex(std::int32_t readMode) {
  if (readMode == 0) return 0;
  return readMode == 1 ? 2 : 1;  // every other non-zero mode reads the DVD without demultiplexing
}

std::string counted(std::size_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

const char kAllAudioText[] = "All audio streams";

// The texts of the lists.
std::string readModeText(std::int32_t readMode) {
  switch (modeIndex(readMode)) {
    case 0:
      return "List of files";
    case 1:
      return "DVD";
    default:
      return "DVD with demultiplexing";
  }
}

std::string titleSetText(std::size_t number, const TitleSetSummary& set) {
  return std::to_string(number) + ": " +
         counted(set.chains.size(), "program chain", "program chains");
}

std::string chainText(std::size_t number, const ChainSummary& chain) {
  return std::to_string(number) + "\t" + durationText(chain.frames, chain.frameRate) + "\t" +
         counted(static_cast<std::size_t>(chain.chapters), "chapter", "chapters");
}

std::string audioText(std::size_t number, const AudioSummary& audio) {
  return std::to_string(number) + ": " + audioCodingName(audio.coding) + ", " +
         std::to_string(audio.channels) + " ch" +
         (audio.language.empty() ? std::string() : ", " + audio.language);
}

LRESULT send(HWND page, int id, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
  return SendDlgItemMessageA(page, id, message, wParam, lParam);
}

void addItem(HWND page, int id, const std::string& text) {
  const UINT add = id == IDC_PROGRAM_CHAIN ? LB_ADDSTRING : CB_ADDSTRING;
  send(page, id, add, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

void clearItems(HWND page, int id) {
  send(page, id, id == IDC_PROGRAM_CHAIN ? LB_RESETCONTENT : CB_RESETCONTENT);
}

void selectItem(HWND page, int id, LRESULT index) {
  send(page, id, id == IDC_PROGRAM_CHAIN ? LB_SETCURSEL : CB_SETCURSEL, static_cast<WPARAM>(index));
}

LRESULT selectedItem(HWND page, int id) {
  return send(page, id, id == IDC_PROGRAM_CHAIN ? LB_GETCURSEL : CB_GETCURSEL);
}

// The title set the choice names, or null when the disc has none by that number.
const TitleSetSummary* chosenSet(const DiscSummary& disc, const SettingsChoice& choice) {
  if (choice.titleSet < 1 || static_cast<std::size_t>(choice.titleSet) > disc.titleSets.size())
    return nullptr;
  return &disc.titleSets[static_cast<std::size_t>(choice.titleSet) - 1];
}

const ChainSummary* chosenChain(const TitleSetSummary* set, const SettingsChoice& choice) {
  if (!set || choice.pgc < 0 || static_cast<std::size_t>(choice.pgc) >= set->chains.size())
    return nullptr;
  return &set->chains[static_cast<std::size_t>(choice.pgc)];
}

// The stream number the chain plays audio stream `s` as.
std::int32_t audioNumberOf(const ChainSummary* chain, std::size_t s) {
  return chain && s < chain->audioNumbers.size() ? chain->audioNumbers[s]
                                                 : static_cast<std::int32_t>(s);
}

std::int32_t audioType(std::int32_t coding) { return coding == 0 ? 0 : 2; }

// The list item of the kept audio stream: 0 for every stream.
LRESULT keptAudioItem(const TitleSetSummary* set, const ChainSummary* chain,
                      const SettingsChoice& choice) {
  if (!set || choice.keptAudio == SettingsChoice::kAllAudio) return 0;
  for (std::size_t s = 0; s < set->audio.size(); ++s)
    if (audioCanBeKeptAlone(set->audio[s].coding) &&
        audioType(set->audio[s].coding) == choice.keptAudioType &&
        audioNumberOf(chain, s) == choice.keptAudio)
      return static_cast<LRESULT>(s) + 1;
  return 0;
}

void selectKeptAudio(HWND page, const TitleSetSummary* set, const SettingsChoice& choice) {
  if (choice.audioTracks <= 1)
    selectItem(page, IDC_AUDIO, keptAudioItem(set, chosenChain(set, choice), choice));
}

void showReadMode(HWND page, const SettingsChoice& choice) {
  clearItems(page, IDC_READ_MODE);
  for (std::int32_t mode : kModes) addItem(page, IDC_READ_MODE, readModeText(mode));
  selectItem(page, IDC_READ_MODE, modeIndex(choice.readMode));
}

void showTitleSets(HWND page, const DiscSummary& disc, const SettingsChoice& choice) {
  clearItems(page, IDC_TITLE_SET);
  for (std::size_t n = 1; n <= disc.titleSets.size(); ++n)
    addItem(page, IDC_TITLE_SET, titleSetText(n, disc.titleSets[n - 1]));
  selectItem(page, IDC_TITLE_SET, chosenSet(disc, choice) ? choice.titleSet - 1 : -1);
}

void showChains(HWND page, const TitleSetSummary* set, const SettingsChoice& choice) {
  clearItems(page, IDC_PROGRAM_CHAIN);
  send(page, IDC_PROGRAM_CHAIN, LB_SETTABSTOPS, 2, reinterpret_cast<LPARAM>(kChainColumns));
  if (!set) return;
  for (std::size_t n = 1; n <= set->chains.size(); ++n)
    addItem(page, IDC_PROGRAM_CHAIN, chainText(n, set->chains[n - 1]));
  selectItem(page, IDC_PROGRAM_CHAIN, chosenChain(set, choice) ? choice.pgc : -1);
}

void showAudio(HWND page, const TitleSetSummary* set, const SettingsChoice& choice) {
  clearItems(page, IDC_AUDIO);
  if (choice.audioTracks > 1) {
    addItem(page, IDC_AUDIO,
            "Demultiplexed tracks set by the host (" + std::to_string(choice.audioTracks) + ")");
    selectItem(page, IDC_AUDIO, 0);
    return;
  }
  addItem(page, IDC_AUDIO, kAllAudioText);
  if (set)
    for (std::size_t s = 0; s < set->audio.size(); ++s)
      addItem(page, IDC_AUDIO, audioText(s, set->audio[s]));
  selectKeptAudio(page, set, choice);
}

void enable(HWND page, int id, bool on) { EnableWindow(GetDlgItem(page, id), on ? TRUE : FALSE); }

// Only what the read mode uses can be changed: the disc's lists in DVD
// mode, the one kept audio stream only with demultiplexing (the only mode
// whose reader drops the other streams' packs).
void enableForMode(HWND page, const DiscSummary& disc, const SettingsChoice& choice) {
  const bool dvd = choice.readMode != 0;
  enable(page, IDC_TITLE_SET, dvd && disc.readable);
  enable(page, IDC_PROGRAM_CHAIN, dvd && disc.readable);
  enable(page, IDC_AUDIO, choice.readMode == 1 && disc.readable && choice.audioTracks <= 1);
  enable(page, IDC_PLAYBACK_ORDER, dvd);
}

void check(HWND page, int id, bool on) {
  send(page, id, BM_SETCHECK, on ? BST_CHECKED : BST_UNCHECKED);
}

bool checked(HWND page, int id) { return send(page, id, BM_GETCHECK) == BST_CHECKED; }

}  // namespace

void showSettings(HWND page, const DiscSummary& disc, const SettingsChoice& choice) {
  const TitleSetSummary* set = chosenSet(disc, choice);
  showReadMode(page, choice);
  showTitleSets(page, disc, choice);
  showChains(page, set, choice);
  showAudio(page, set, choice);
  check(page, IDC_PLAYBACK_ORDER, choice.playbackOrder == 1);
  check(page, IDC_STANDARD_READS, choice.standardReads == 1);
  enableForMode(page, disc, choice);
}

void refreshSettings(HWND page, const DiscSummary& disc, const SettingsChoice& before,
                     const SettingsChoice& after) {
  const TitleSetSummary* set = chosenSet(disc, after);
  if (after.titleSet != before.titleSet) {
    showChains(page, set, after);
    showAudio(page, set, after);
  } else {
    // Chains may play a stream under another number, and a stream that was
    // refused goes back to the one kept.
    selectKeptAudio(page, set, after);
  }
  enableForMode(page, disc, after);
}

SettingsRead readSettings(HWND page, const DiscSummary& disc, const SettingsChoice& held) {
  SettingsRead read{held, {}};
  SettingsChoice& choice = read.choice;
  const LRESULT mode = selectedItem(page, IDC_READ_MODE);
  if (mode >= 0 && mode < kModeCount && modeIndex(held.readMode) != mode)
    choice.readMode = kModes[mode];
  choice.playbackOrder = checked(page, IDC_PLAYBACK_ORDER) ? 1 : 0;
  choice.standardReads = checked(page, IDC_STANDARD_READS) ? 1 : 0;

  const LRESULT set = selectedItem(page, IDC_TITLE_SET);
  if (set >= 0 && static_cast<std::size_t>(set) < disc.titleSets.size() &&
      set + 1 != held.titleSet) {
    choice.titleSet = static_cast<std::int32_t>(set) + 1;
    choice.pgc = 0;
    choice.keptAudio = SettingsChoice::kAllAudio;
    return read;
  }
  const TitleSetSummary* chosen = chosenSet(disc, choice);
  const LRESULT chain = selectedItem(page, IDC_PROGRAM_CHAIN);
  if (chosen && chain >= 0 && static_cast<std::size_t>(chain) < chosen->chains.size())
    choice.pgc = static_cast<std::int32_t>(chain);

  const LRESULT audio = selectedItem(page, IDC_AUDIO);
  if (!chosen || held.audioTracks > 1 || audio < 0) return read;
  if (audio == 0) {
    choice.keptAudio = SettingsChoice::kAllAudio;
    return read;
  }
  const std::size_t s = static_cast<std::size_t>(audio) - 1;
  if (s >= chosen->audio.size()) return read;
  const AudioSummary& stream = chosen->audio[s];
  if (!audioCanBeKeptAlone(stream.coding)) {
    read.refused = "Only an AC-3 or MPEG audio stream can be delivered alone; " +
                   audioCodingName(stream.coding) + " streams always pass.";
    return read;
  }
  choice.keptAudio = audioNumberOf(chosenChain(chosen, choice), s);
  choice.keptAudioType = audioType(stream.coding);
  choice.audioNumber = choice.keptAudio;
  return read;
}

void setStatusLine(HWND page, const std::string& text) {
  SetDlgItemTextA(page, IDC_SETTINGS_STATUS, text.c_str());
}
