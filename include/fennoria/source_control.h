// ISourceControl: the control interface of the Ormelund Fennoria source
// filter, for hosts that set the filter's read settings from code.
//
// Reach it by QueryInterface on the filter or on its output pin; both give
// the same settings. The setters only store values: they take effect the
// next time the filter configures itself, which happens when a downstream
// pin accepts the output type during connection (and when the stream length
// is asked for in DVD mode and the program chain turns out empty). Call them
// while the graph is stopped, before connecting.
//
// A value stored in the registry under HKEY_CURRENT_USER (or, when the user
// has no such key, HKEY_LOCAL_MACHINE) "SOFTWARE\Ormelund\Trivane\Fennoria"
// always wins over what is set here: "DvdReadMode", "DvdTitle", "DvdPgc" and
// "DvdAudio" are read at each configuration with the current value as the
// default.
//
// The operations are declared in their vtable order; a host written in C can
// call them through the slots 3 to 12 (after the three IUnknown slots).
#pragma once

#include <windows.h>
#include <unknwn.h>

// {5D2B7E40-C18F-4A63-B7D9-0E4F62A1C835}
static const IID IID_ISourceControl = {
    0x5d2b7e40, 0xc18f, 0x4a63, {0xb7, 0xd9, 0x0e, 0x4f, 0x62, 0xa1, 0xc8, 0x35}};

// {3F6A91D2-5C07-4B8E-9A14-C2D85E7B0F31}: the filter.
static const CLSID CLSID_FennoriaSource = {
    0x3f6a91d2, 0x5c07, 0x4b8e, {0x9a, 0x14, 0xc2, 0xd8, 0x5e, 0x7b, 0x0f, 0x31}};

// {A9C4E217-6B3D-4F02-8E5A-17F3B0C6D948}: its About property page.
static const CLSID CLSID_FennoriaAboutPage = {
    0xa9c4e217, 0x6b3d, 0x4f02, {0x8e, 0x5a, 0x17, 0xf3, 0xb0, 0xc6, 0xd9, 0x48}};

// {B5D1DD5C-85CB-459A-8015-3B6DD038FE39}: its Settings property page, which
// the filter names in ISpecifyPropertyPages::GetPages when the DWORD setting
// "SettingsPage" is 1.
static const CLSID CLSID_FennoriaSettingsPage = {
    0xb5d1dd5c, 0x85cb, 0x459a, {0x80, 0x15, 0x3b, 0x6d, 0xd0, 0x38, 0xfe, 0x39}};

#ifdef __cplusplus
struct ISourceControl : public IUnknown {
  // Back to the defaults: list mode, title 1, program chain 0, audio stream
  // 0, audio file "c:/_audio.ac3", no audio tracks. The subtitle tracks are
  // kept. S_OK.
  virtual HRESULT STDMETHODCALLTYPE ResetSettings() = 0;
  // 0 list mode; 1 DVD mode, demultiplexing the chosen streams into files;
  // any other value DVD mode without demultiplexing. S_OK.
  virtual HRESULT STDMETHODCALLTYPE SetReadMode(int mode) = 0;
  // The read mode itself (not an HRESULT).
  virtual int STDMETHODCALLTYPE GetReadMode() = 0;
  // The DVD title set number (the nn of VTS_nn_0.IFO). S_OK.
  virtual HRESULT STDMETHODCALLTYPE SetTitle(int title) = 0;
  // The program chain number within the title set, from 0. S_OK.
  virtual HRESULT STDMETHODCALLTYPE SetPgc(int pgc) = 0;
  // The AC-3 substream written to the audio file when no audio tracks were
  // added. S_OK.
  virtual HRESULT STDMETHODCALLTYPE SetAudioStream(int stream) = 0;
  // The file the default audio output goes to (at most 251 characters are
  // kept). S_OK.
  virtual HRESULT STDMETHODCALLTYPE SetAudioFile(const char* path) = 0;
  // An audio track under `key` (replacing one already there): `streamType`
  // 0 AC-3 or 2 MPEG audio, `key` the stream number, `file` its output file
  // (null: the empty name). With exactly one track and demultiplexing, the
  // track writes no file: it selects the only audio stream delivered
  // downstream. S_OK.
  virtual HRESULT STDMETHODCALLTYPE AddAudioStream(const char* file, int streamType, int key) = 0;
  // A subtitle track: subpicture stream `key` goes to `file`. Keys 0 to n-1
  // of n tracks are used. S_OK.
  virtual HRESULT STDMETHODCALLTYPE AddSubtitleStream(const char* file, int key) = 0;
  // Always 2.0.
  virtual double STDMETHODCALLTYPE GetSomeParam() = 0;
};
#else
typedef struct ISourceControl ISourceControl;
#endif
