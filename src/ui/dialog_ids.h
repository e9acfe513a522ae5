// Resource and control ids of the progress window, the About page and the
// Settings page.
//
// Shared by the dialog resources, the window code and the portable progress
// model, which names the controls it fills by these ids.
#pragma once

// Dialog templates.
#define IDD_PROGRESS 101
#define IDD_ABOUT 102
#define IDD_SETTINGS 103

// String table: the property pages' titles.
#define IDS_ABOUT_TITLE 1
#define IDS_SETTINGS_TITLE 2

// Controls of the progress dialog.
#define IDC_PROGRESS_BAR 1000
#define IDC_PERCENT 1001
#define IDC_CURRENT_FILE 1002
#define IDC_LOCATION 1003
#define IDC_TIME_PASSED 1004
#define IDC_TIME_REMAINING 1005
#define IDC_BATCH_FILE 1006

// Controls of the About page. 1008 and 1009 are answered by the page but
// exist only in templates that add them (a link to the web page and one to
// the mail address).
#define IDC_BUILD_DATE 1007
#define IDC_WEB_PAGE 1008
#define IDC_MAIL_ADDRESS 1009

// Controls of the Settings page.
#define IDC_READ_MODE 1010
#define IDC_TITLE_SET 1011
#define IDC_PROGRAM_CHAIN 1012
#define IDC_AUDIO 1013
#define IDC_PLAYBACK_ORDER 1014
#define IDC_STANDARD_READS 1015
#define IDC_SAVE_DEFAULT 1016
#define IDC_SETTINGS_STATUS 1017

// Labels and the group box have no id of their own.
#ifndef IDC_STATIC
#define IDC_STATIC (-1)
#endif
