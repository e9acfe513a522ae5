// The filter in the platform's filter graph manager: added, given a list,
// its pin shown, and connected directly to a sink that pulls from it.
#include <windows.h>
#include <dshow.h>

#include <gtest/gtest.h>

#include <string>

#include "com/com_support.h"
#include "com/test_sink.h"
#include "fennoria/source_control.h"

using namespace com_tests;

TEST(FilterGraph, LoadsAListAndConnectsToAPullingSink) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  {
    TempFolder temp;
    // Absolute names, so the list does not depend on the current folder.
    std::string list = writeClipList(temp, {"clip1", "clip2", "", "clip3"});

    IGraphBuilder* graph = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                               reinterpret_cast<void**>(&graph)),
              S_OK);
    IBaseFilter* source = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER,
                               IID_IBaseFilter, reinterpret_cast<void**>(&source)),
              S_OK);
    ASSERT_EQ(graph->AddFilter(source, L"Ormelund Fennoria"), S_OK);

    IPin* output = nullptr;
    EXPECT_EQ(source->FindPin(L"Output", &output), VFW_E_NOT_FOUND);
    IFileSourceFilter* fileSource = nullptr;
    ASSERT_EQ(source->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&fileSource)),
              S_OK);
    ASSERT_EQ(fileSource->Load(wide(list).c_str(), nullptr), S_OK);
    fileSource->Release();

    IEnumPins* pins = nullptr;
    ASSERT_EQ(source->EnumPins(&pins), S_OK);
    ULONG fetched = 0;
    ASSERT_EQ(pins->Next(1, &output, &fetched), S_OK);
    pins->Release();
    PIN_INFO info{};
    ASSERT_EQ(output->QueryPinInfo(&info), S_OK);
    EXPECT_STREQ(info.achName, L"Output");
    EXPECT_EQ(info.dir, PINDIR_OUTPUT);
    info.pFilter->Release();

    auto* sink = new TestSink;
    sink->NonDelegatingAddRef();
    ASSERT_EQ(graph->AddFilter(sink, L"Sink"), S_OK);
    ASSERT_EQ(graph->ConnectDirect(output, &sink->pin, nullptr), S_OK);
    EXPECT_TRUE(sink->pin.pulledInTime);
    EXPECT_EQ(sink->pin.lengthResult, S_OK);
    EXPECT_EQ(sink->pin.total, 116736 + 63488 + 174080);
    EXPECT_EQ(sink->pin.readResult, S_OK);
    EXPECT_EQ(sink->pin.firstBytes, std::string("\x00\x00\x01\xBA", 4));

    AM_MEDIA_TYPE type{};
    ASSERT_EQ(output->ConnectionMediaType(&type), S_OK);
    EXPECT_TRUE(IsEqualGUID(type.majortype, MEDIATYPE_Stream));
    EXPECT_TRUE(IsEqualGUID(type.subtype, MEDIASUBTYPE_MPEG2_PROGRAM));
    IPin* peer = nullptr;
    ASSERT_EQ(output->ConnectedTo(&peer), S_OK);
    EXPECT_EQ(peer, static_cast<IPin*>(&sink->pin));
    peer->Release();

    // A read at the end of the joined files is refused; one across a file
    // end is delivered whole.
    BYTE block[64] = {};
    EXPECT_EQ(sink->pin.reader->SyncRead(116736 - 32, 64, block), S_OK);
    EXPECT_EQ(sink->pin.reader->SyncRead(116736 + 63488 + 174080, 1, block), E_FAIL);

    EXPECT_EQ(graph->Disconnect(output), S_OK);
    EXPECT_EQ(graph->Disconnect(&sink->pin), S_OK);
    output->Release();
    EXPECT_EQ(graph->RemoveFilter(sink), S_OK);
    EXPECT_EQ(graph->RemoveFilter(source), S_OK);
    sink->Release();
    EXPECT_EQ(graph->Release(), 0u);
    EXPECT_EQ(source->Release(), 0u);
  }
  EXPECT_EQ(dllCanUnloadNow(), S_OK);
  CoUninitialize();
}
