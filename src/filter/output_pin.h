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
#pragma once

#include <windows.h>
#include <dshow.h>

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <deque>
#include <utility>

#include "demux/stream.h"
#include "dshow/base_pin.h"
#include "fennoria/source_control.h"

class DvdTitleReader;
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

  // Standard reads: the bytes [position, position + length) of the stream,
  // cut at its end, whatever was read before; the count read, or -1 when the
  // position is outside the stream. Takes the filter lock.
  std::int64_t ReadAt(std::int64_t position, std::int32_t length, BYTE* buffer);
  // The stream's length in standard reads (no switch of modes); -1 if none.
  std::int64_t StandardLength();

  // Pin-internal steps of the read path, called under the filter lock.
  HRESULT SeekStream(std::int64_t position);
  HRESULT ReadStream(BYTE* buffer, std::int32_t length, std::int32_t* bytesRead);
  HRESULT DemuxBlock(const BYTE* buffer, std::int32_t count);

  // The length of the stream the progress window measures: the title range
  // in DVD mode, the joined files otherwise.
  std::int64_t progressTotal() const;

  // The process-wide stream position counter.
  static std::int64_t streamPosition();
  static void setStreamPosition(std::int64_t position);

  // State, in the order the pin keeps it; read by the tests.
  bool endOfStream = false;
  SourceSettings settings{};
  MultipleFileInputer* inputer;
  std::int32_t lastReportedFile = -1;
  CRITICAL_SECTION* filterLock;
  ProgressDisplay* status;
  CRITICAL_SECTION ownLock;
  std::unique_ptr<DvdTitleReader> titleReader;
  std::unique_ptr<VobDemuxer> demuxer;
  BYTE sectorBuffer[2048] = {};
  std::int32_t carryOffset = 0;
  std::map<std::int32_t, std::unique_ptr<AudioTrack>> audioTracks;
  std::map<std::int32_t, std::unique_ptr<SubtitleTrack>> subtitleTracks;
  // The "StandardReads" setting (1: serve random-access parsers), read by
  // ConfigureSource.
  bool standardReads = false;
  // Standard reads: the finished requests, the flush state, and the event
  // that is set while a request is finished or a flush is on.
  std::deque<std::pair<IMediaSample*, DWORD_PTR>> finished;
  bool flushing = false;
  HANDLE finishedEvent = nullptr;
  // Standard reads: where the demultiplexer was fed up to (it only takes
  // reads that continue from there).
  std::int64_t demuxedUpTo = 0;

 private:
  static constexpr std::int32_t kSectorSize = 2048;
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
  void reportCurrentFile();
  void feedPosition();
  std::int64_t readerPosition() const;
  HRESULT standardRequest(IMediaSample* sample, DWORD_PTR user);
  HRESULT standardWaitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user);
  HRESULT standardSyncReadAligned(IMediaSample* sample);
  HRESULT standardSyncRead(LONGLONG position, LONG length, BYTE* buffer);

  AsyncReader reader_;
  mpdx::LogCallback navigationLog_;
  // The total last given to the progress window.
  std::int64_t fedTotal_ = -1;
};
