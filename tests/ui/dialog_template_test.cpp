// The compiled dialog templates, read back from this program's resources
// and compared control by control with the dialogs' design.
#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "ui/dialog_ids.h"

namespace {

struct Control {
  int id;             // -1 for none
  std::string kind;   // "progress bar", "static", "static, right-aligned", "group box"
  std::string text;
  int x, y, w, h;
  bool operator==(const Control& o) const {
    return id == o.id && kind == o.kind && text == o.text && x == o.x && y == o.y && w == o.w &&
           h == o.h;
  }
};

void PrintTo(const Control& c, std::ostream* os) {
  *os << "{" << c.id << ", " << c.kind << ", \"" << c.text << "\", " << c.x << ", " << c.y << ", "
      << c.w << ", " << c.h << "}";
}

struct Dialog {
  bool extended = false;
  DWORD style = 0;
  int x = 0, y = 0, w = 0, h = 0;
  bool hasMenu = false;
  std::string caption;
  int fontSize = 0;
  std::string fontName;
  std::vector<Control> controls;
};

// Reads the words of a dialog template in order.
class Reader {
 public:
  Reader(const BYTE* data, DWORD size) : data_(data), size_(size) {}

  WORD word() {
    WORD value = 0;
    take(&value, sizeof value);
    return value;
  }
  DWORD dword() {
    DWORD value = 0;
    take(&value, sizeof value);
    return value;
  }
  short number() { return static_cast<short>(word()); }
  // A zero-terminated UTF-16 string, as ANSI (the texts are plain ASCII).
  std::string string() {
    std::string out;
    for (WORD c = word(); c != 0 && ok_; c = word()) out += c < 0x80 ? static_cast<char>(c) : '?';
    return out;
  }
  // "sz_Or_Ord": nothing, an ordinal (0xFFFF, n) or a string.
  std::string stringOrOrdinal(int* ordinal) {
    *ordinal = -1;
    const WORD first = word();
    if (first == 0) return std::string();
    if (first == 0xFFFF) {
      *ordinal = word();
      return std::string();
    }
    std::string out(1, static_cast<char>(first));
    return out + string();
  }
  void skip(DWORD bytes) {
    std::vector<BYTE> ignored(bytes);
    take(ignored.data(), bytes);
  }
  void alignToDword() {
    while (ok_ && at_ % 4 != 0) skip(1);
  }
  bool ok() const { return ok_; }
  bool atEnd() const { return at_ >= size_; }

 private:
  void take(void* out, DWORD bytes) {
    if (!ok_ || bytes > size_ - at_) {
      ok_ = false;
      return;
    }
    std::memcpy(out, data_ + at_, bytes);
    at_ += bytes;
  }
  const BYTE* data_;
  DWORD size_;
  DWORD at_ = 0;
  bool ok_ = true;
};

std::string kindOf(int classOrdinal, const std::string& className, DWORD style) {
  if (classOrdinal == 0x0080 && (style & 0xF) == BS_GROUPBOX) return "group box";
  if (classOrdinal == 0x0082) {
    switch (style & SS_TYPEMASK) {
      case SS_LEFT: return "static";
      case SS_RIGHT: return "static, right-aligned";
      case SS_CENTER: return "static, centred";
      default: return "static, other";
    }
  }
  // Window class names ignore case (the resource compiler writes capitals).
  if (classOrdinal == -1 && lstrcmpiA(className.c_str(), "msctls_progress32") == 0)
    return "progress bar";
  return "class " + std::to_string(classOrdinal) + " " + className;
}

// Parses a DLGTEMPLATE or DLGTEMPLATEEX resource.
Dialog parse(const BYTE* data, DWORD size) {
  Dialog dialog;
  Reader in(data, size);
  const WORD first = in.word();
  const WORD second = in.word();
  dialog.extended = first == 1 && second == 0xFFFF;
  int items;
  if (dialog.extended) {
    in.dword();  // help id
    in.dword();  // extended style
    dialog.style = in.dword();
  } else {
    dialog.style = MAKELONG(first, second);
    in.dword();  // extended style
  }
  items = in.word();
  dialog.x = in.number();
  dialog.y = in.number();
  dialog.w = in.number();
  dialog.h = in.number();
  int ordinal;
  dialog.hasMenu = !in.stringOrOrdinal(&ordinal).empty() || ordinal != -1;
  in.stringOrOrdinal(&ordinal);  // window class
  dialog.caption = in.string();
  if (dialog.style & (DS_SETFONT | DS_SHELLFONT)) {
    dialog.fontSize = in.word();
    if (dialog.extended) {
      in.word();  // weight
      in.word();  // italic, charset
    }
    dialog.fontName = in.string();
  }
  for (int i = 0; i < items && in.ok(); ++i) {
    in.alignToDword();
    Control control;
    DWORD style;
    if (dialog.extended) {
      in.dword();  // help id
      in.dword();  // extended style
      style = in.dword();
    } else {
      style = in.dword();
      in.dword();  // extended style
    }
    control.x = in.number();
    control.y = in.number();
    control.w = in.number();
    control.h = in.number();
    if (dialog.extended)
      control.id = static_cast<int>(in.dword());
    else
      control.id = static_cast<short>(in.word());
    int classOrdinal;
    const std::string className = in.stringOrOrdinal(&classOrdinal);
    int textOrdinal;
    control.text = in.stringOrOrdinal(&textOrdinal);
    in.skip(in.word());  // creation data
    control.kind = kindOf(classOrdinal, className, style);
    EXPECT_TRUE(style & WS_CHILD) << "control " << control.id;
    EXPECT_TRUE(style & WS_VISIBLE) << "control " << control.id;
    dialog.controls.push_back(control);
  }
  EXPECT_TRUE(in.ok()) << "template ends early";
  return dialog;
}

Dialog loadDialog(int resourceId) {
  HMODULE module = GetModuleHandleA(nullptr);
  HRSRC found = FindResourceA(module, MAKEINTRESOURCEA(resourceId), MAKEINTRESOURCEA(5));  // RT_DIALOG
  if (!found) {
    ADD_FAILURE() << "no dialog resource " << resourceId;
    return Dialog();
  }
  HGLOBAL loaded = LoadResource(module, found);
  const auto* data = static_cast<const BYTE*>(LockResource(loaded));
  const DWORD size = SizeofResource(module, found);
  if (!data || size == 0) {
    ADD_FAILURE() << "dialog resource " << resourceId << " is empty";
    return Dialog();
  }
  return parse(data, size);
}

}  // namespace

TEST(DialogTemplate, ProgressDialogHasItsCaptionFontAndSize) {
  const Dialog dialog = loadDialog(IDD_PROGRESS);
  EXPECT_EQ(dialog.caption, "Ormelund Fennoria");
  EXPECT_EQ(dialog.fontName, "MS Sans Serif");
  EXPECT_EQ(dialog.fontSize, 8);
  EXPECT_EQ(dialog.w, 207);
  EXPECT_EQ(dialog.h, 86);
  EXPECT_FALSE(dialog.hasMenu);
  // A window of its own, with a caption and a close box.
  EXPECT_TRUE(dialog.style & WS_POPUP);
  EXPECT_FALSE(dialog.style & WS_CHILD);
  EXPECT_EQ(dialog.style & WS_CAPTION, static_cast<DWORD>(WS_CAPTION));
  EXPECT_TRUE(dialog.style & WS_SYSMENU);
}

TEST(DialogTemplate, ProgressDialogControlsMatchTheirDesign) {
  const Dialog dialog = loadDialog(IDD_PROGRESS);
  ASSERT_EQ(dialog.controls.size(), 13u);
  // The list file's control holds a sample path of our choosing; the test
  // checks that it looks like one and compares the rest.
  std::vector<Control> controls = dialog.controls;
  const std::string& sample = controls[4].text;
  EXPECT_TRUE(sample.size() > 7 && sample.compare(1, 2, ":\\") == 0 &&
              sample.compare(sample.size() - 4, 4, ".lst") == 0)
      << sample;
  controls[4].text = "(sample path)";
  const std::vector<Control> expected = {
      {1000, "progress bar", "Progress1", 10, 10, 152, 14},
      {1001, "static, right-aligned", "100.00%", 165, 15, 28, 8},
      {-1, "group box", "Total Progress", 5, 0, 195, 30},
      {-1, "static", "Batch file :", 5, 35, 34, 8},
      {1006, "static", "(sample path)", 60, 35, 140, 8},
      {-1, "static", "Current file :", 5, 45, 38, 8},
      {1002, "static", "VTS_01_1.VOB", 60, 45, 140, 8},
      {-1, "static", "Location :", 5, 55, 32, 8},
      {1003, "static", "10203148 / 265729831", 60, 55, 140, 8},
      {-1, "static", "Time passed :", 5, 65, 45, 8},
      {1004, "static", "4:35:36", 60, 65, 145, 8},
      {-1, "static", "Time remaining :", 5, 75, 52, 8},
      {1005, "static", "9:30:21", 60, 75, 140, 8},
  };
  EXPECT_THAT(controls, testing::ElementsAreArray(expected));
}

TEST(DialogTemplate, AboutDialogHasNoCaptionAndTheSameFont) {
  const Dialog dialog = loadDialog(IDD_ABOUT);
  EXPECT_EQ(dialog.caption, "");
  EXPECT_NE(dialog.style & WS_CAPTION, static_cast<DWORD>(WS_CAPTION));
  EXPECT_EQ(dialog.fontName, "MS Sans Serif");
  EXPECT_EQ(dialog.fontSize, 8);
  EXPECT_EQ(dialog.w, 221);
  EXPECT_EQ(dialog.h, 51);
  // A page lives inside the property sheet's frame.
  EXPECT_TRUE(dialog.style & WS_CHILD);
}

TEST(DialogTemplate, AboutDialogControlsMatchTheirDesign) {
  const Dialog dialog = loadDialog(IDD_ABOUT);
  const std::vector<Control> expected = {
      {-1, "static", "Ormelund", 45, 5, 24, 8},
      {-1, "static", "Fennoria", 45, 15, 76, 8},
      {1007, "static", "", 45, 25, 75, 8},
  };
  EXPECT_THAT(dialog.controls, testing::ElementsAreArray(expected));
}

TEST(DialogTemplate, AboutPageTitleStringIsAbout) {
  char text[64] = "";
  ASSERT_GT(LoadStringA(GetModuleHandleA(nullptr), IDS_ABOUT_TITLE, text, sizeof text), 0);
  EXPECT_STREQ(text, "About");
}
