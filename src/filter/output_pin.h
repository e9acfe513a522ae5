// The filter's one output pin, "Output": it offers the joined files as an
// MPEG-2 program stream that the downstream parser pulls through
// IAsyncReader, and it holds the read settings that ISourceControl sets.
//
// Checking the offered type configures the pin (ConfigureSource): list mode,
// or DVD mode with a title reader positioned on the chosen program chain and,
// in read mode 1, a VOB demultiplexer writing the chosen streams to files.
//
// IAsyncReader lives on a sub-object of its own, because IPin and
// IAsyncReader both declare BeginFlush and EndFlush; QueryInterface reaches
// it through the pin.
//
// One class, one file per concept: type and configuration here
// (output_pin.cpp), the control interface (output_pin_control.cpp), the
// forward reads (output_pin_reads.cpp), and the pin's side of random-access
// reads (output_pin_standard_reads.cpp), whose queue is a StandardReader.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "demux/stream.h"
#include "dshow/base_pin.h"
#include "fennoria/source_control.h"
#include "filter/standard_reader.h"
#include "input/list_source.h"
#include "input/title_source.h"

class MultipleFileInputer;
class ProgressDisplay;
class VobDemuxer;

// The settings block, also the filter's persisted form: six 32-bit integers
// and a 252-byte path, little-endian, 276 bytes.
struct SourceSettings {
  std::int32_t readMode;
  std::int32_t title;
  std::int32_t titleSelector;
  std::int32_t pgc;
  std::int32_t reserved;
  std::int32_t audioNumber;
  char audioFile[252];
};
static_assert(sizeof(SourceSettings) == 276, "the persisted block is 276 bytes");

// Raised by ConfigureSource when the navigation files cannot be loaded.
class IfoLoadError : public std::runtime_error {
 public:
  explicit IfoLoadError(const std::string& where)
      : std::runtime_error("cannot load the DVD navigation files in \"" + where + "\""),
        folder(where) {}
  std::string folder;
};

class OutputPin : public dshow::BasePin, public ISourceControl {
 public:
  struct AudioTrack {
    std::int32_t streamNumber;
    std::string file;
  };
  struct SubtitleTrack {
    std::string file;
  };

  OutputPin(dshow::BaseFilter* filter, CRITICAL_SECTION* filterLock, MultipleFileInputer* inputer,
            ProgressDisplay* status);
  ~OutputPin() override;

  // One set of IUnknown methods for IPin and ISourceControl.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    return BasePin::QueryInterface(iid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return BasePin::AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return BasePin::Release(); }
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** object) override;

  HRESULT GetMediaType(int position, AM_MEDIA_TYPE* type) override;
  // S_FALSE for any other type; for ours, the result of ConfigureSource.
  HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
  HRESULT Active() override;
  HRESULT Inactive() override;

  // Re-reads the settings and rebuilds the title reader and the
  // demultiplexer; may raise IfoLoadError.
  HRESULT ConfigureSource();
  // Loads the navigation files for ConfigureSource; may raise IfoLoadError.
  void openNavigation(const std::string& current, const std::string& folder);

  // ISourceControl
  HRESULT STDMETHODCALLTYPE ResetSettings() override;
  HRESULT STDMETHODCALLTYPE SetReadMode(int mode) override;
  int STDMETHODCALLTYPE GetReadMode() override;
  HRESULT STDMETHODCALLTYPE SetTitle(int title) override;
  HRESULT STDMETHODCALLTYPE SetPgc(int pgc) override;
  HRESULT STDMETHODCALLTYPE SetAudioStream(int stream) override;
  HRESULT STDMETHODCALLTYPE SetAudioFile(const char* path) override;
  HRESULT STDMETHODCALLTYPE AddAudioStream(const char* file, int streamType, int key) override;
  HRESULT STDMETHODCALLTYPE AddSubtitleStream(const char* file, int key) override;
  double STDMETHODCALLTYPE GetSomeParam() override;

  // IAsyncReader's work (the sub-object calls these).
  HRESULT RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                           IMemAllocator** actual);
  HRESULT Request(IMediaSample* sample, DWORD_PTR user);
  HRESULT WaitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user);
  HRESULT SyncReadAligned(IMediaSample* sample);
  HRESULT SyncRead(LONGLONG position, LONG length, BYTE* buffer);
  HRESULT Length(LONGLONG* total, LONGLONG* available);

  // IAsyncReader's flush (the sub-object calls these); they only act in
  // standard reads.
  HRESULT ReaderBeginFlush();
  HRESULT ReaderEndFlush();

  // Puts back the settings block of a persisted filter.
  void restoreSettings(const SourceSettings& block) { settings_ = block; }

  // What the Settings page reads and sets beside the control interface.
  const SourceSettings& heldSettings() const { return settings_; }
  std::size_t audioTrackCount() const { return audioTracks_.size(); }
  // The one audio track's key and stream type; false unless there is one.
  bool singleAudioTrack(std::int32_t* key, std::int32_t* streamType) const;
  void clearAudioTracks() { audioTracks_.clear(); }
  // The values "DvdPlaybackOrder" and "StandardReads" take at configuration
  // when they are not stored: 0 (off) unless the Settings page applied
  // others.
  struct ReadDefaults {
    std::int32_t playbackOrder = 0;
    std::int32_t standardReads = 0;
  };
  void setReadDefaults(const ReadDefaults& defaults) { readDefaults_ = defaults; }
  const ReadDefaults& readDefaults() const { return readDefaults_; }

  // The length of the stream the progress window measures: the title range
  // in DVD mode, the joined files otherwise.
  std::int64_t progressTotal() const;

  // The process-wide stream position counter.
  static std::int64_t streamPosition();
  static void setStreamPosition(std::int64_t position);

 private:
  // Tests see the state a call left behind through this one door.
  friend struct OutputPinProbe;

  // Sample times count this many units per byte.
  static constexpr LONGLONG kUnitsPerByte = 10000000;

  class AsyncReader : public IAsyncReader {
   public:
    explicit AsyncReader(OutputPin& pin) : pin_(pin) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
      return pin_.QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return pin_.AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return pin_.Release(); }
    HRESULT STDMETHODCALLTYPE RequestAllocator(IMemAllocator* preferred,
                                               ALLOCATOR_PROPERTIES* properties,
                                               IMemAllocator** actual) override {
      return pin_.RequestAllocator(preferred, properties, actual);
    }
    HRESULT STDMETHODCALLTYPE Request(IMediaSample* sample, DWORD_PTR user) override {
      return dshow::guarded([&] { return pin_.Request(sample, user); });
    }
    HRESULT STDMETHODCALLTYPE WaitForNext(DWORD timeout, IMediaSample** sample,
                                          DWORD_PTR* user) override {
      return dshow::guarded([&] { return pin_.WaitForNext(timeout, sample, user); });
    }
    HRESULT STDMETHODCALLTYPE SyncReadAligned(IMediaSample* sample) override {
      return dshow::guarded([&] { return pin_.SyncReadAligned(sample); });
    }
    HRESULT STDMETHODCALLTYPE SyncRead(LONGLONG position, LONG length, BYTE* buffer) override {
      return dshow::guarded([&] { return pin_.SyncRead(position, length, buffer); });
    }
    HRESULT STDMETHODCALLTYPE Length(LONGLONG* total, LONGLONG* available) override;
    // Without standard reads the reader has no queue to flush.
    HRESULT STDMETHODCALLTYPE BeginFlush() override { return pin_.ReaderBeginFlush(); }
    HRESULT STDMETHODCALLTYPE EndFlush() override { return pin_.ReaderEndFlush(); }

   private:
    OutputPin& pin_;
  };

  static HRESULT sampleRange(IMediaSample* sample, std::int64_t* position, std::int64_t* length);
  // Steps of the forward read path, under the filter lock.
  HRESULT seekStream(std::int64_t position);
  HRESULT readStream(BYTE* buffer, std::int32_t length, std::int32_t* bytesRead);
  HRESULT demuxBlock(const BYTE* buffer, std::int32_t count);
  // Standard reads: the bytes [position, position + length) of the stream,
  // cut at its end, whatever was read before; the count read, or -1 when the
  // position is outside the stream. Takes the filter lock.
  std::int64_t readAt(std::int64_t position, std::int32_t length, BYTE* buffer);
  void reportCurrentFile();
  void feedPosition();

  // State, in the order the pin keeps it.
  bool endOfStream_ = false;
  SourceSettings settings_{};
  MultipleFileInputer* inputer_;
  std::int32_t lastReportedFile_ = -1;
  CRITICAL_SECTION* filterLock_;
  ProgressDisplay* status_;
  CRITICAL_SECTION ownLock_;
  // The two byte sources and the one ConfigureSource chose: the list, or
  // the title (which owns the DVD reader and the sector carry, and stays
  // with the pin across modes).
  ListSource listSource_;
  TitleSource titleSource_;
  ByteSource* source_;
  std::unique_ptr<VobDemuxer> demuxer_;
  std::map<std::int32_t, std::unique_ptr<AudioTrack>> audioTracks_;
  std::map<std::int32_t, std::unique_ptr<SubtitleTrack>> subtitleTracks_;
  // The "StandardReads" setting (1: serve random-access parsers), read by
  // ConfigureSource; the reader that then serves IAsyncReader.
  bool standardReads_ = false;
  StandardReader standardReader_;
  // Standard reads: where the demultiplexer was fed up to (it only takes
  // reads that continue from there).
  std::int64_t demuxedUpTo_ = 0;

  AsyncReader reader_;
  mpdx::LogCallback navigationLog_;
  // The total last given to the progress window.
  std::int64_t fedTotal_ = -1;
  ReadDefaults readDefaults_;
};
