#include <cstdio>
#include <cstring>

#include "Guide.h"

// [write]
static void WriteSeries(OxbowRpm_BStreamWrite& stream) {
    const double values[] = {1.5, 2.25, -0.5};
    stream.Write("Kiel, pier 4");    // 4 bytes of length, 12 of text; padded to a multiple of 4
    stream.Write(std::uint32_t{3});  // 4 bytes
    OxbowRpm_Swapper::ExternalizeArray(stream.PrepWrite(sizeof values), values, 3);  // 24 bytes
}
// [write end]

// [read]
static void ReadSeries(OxbowRpm_BStreamRead& stream) {
    FennelString place;
    std::uint32_t count = 0;
    double values[3] = {};
    stream.Read(place);
    stream.Read(count);
    if (count != 3) {  // it comes from a file: test it before it becomes a size
        return;
    }
    OxbowRpm_Swapper::InternalizeArray(stream.PrepRead(sizeof values), values, 3);
    std::printf("%s: %g %g %g\n", place.View().data(), values[0], values[1], values[2]);
}
// [read end]

// [pool]
static constexpr std::uint64_t kSeriesSize = 4 + 12 + 4 + 24;

static OxbowRpm_Locator StoreSeries(OxbowRpm_File file) {
    const OxbowRpm_Locator place = file.Allocate(kSeriesSize);
    {
        OxbowRpm_BStreamWriteLocator stream(place, kSeriesSize, 4096);
        WriteSeries(stream);
    }  // here the stream writes what its buffer still holds
    return place;
}
// [pool end]

// [memory]
static OxbowRpm_Locator StoreSeriesAtOnce(OxbowRpm_File file) {
    char bytes[kSeriesSize];
    OxbowRpm_BStreamWriteBuffer stream(bytes, sizeof bytes, file.Pool());
    WriteSeries(stream);
    const OxbowRpm_Locator place = file.Allocate(sizeof bytes);
    place.Write(sizeof bytes, bytes);
    return place;
}
// [memory end]

static void WriteWide(OxbowRpm_BStreamWrite& stream, std::uint64_t value, double ratio) {
    char* place = stream.PrepWrite(16);
    place += OxbowRpm_Swapper::ExternalizeScalar(place, value);
    OxbowRpm_Swapper::ExternalizeScalar(place, ratio);
}

static void ShowWide() {
    char bytes[16];
    OxbowRpm_BStreamWriteBuffer out(bytes, sizeof bytes);
    WriteWide(out, 0x0102030405060708u, 0.5);
    double ratio = 0;
    OxbowRpm_Swapper::InternalizeScalar(bytes + 8, ratio);
    Expect(bytes[0] == 8 && bytes[7] == 1 && ratio == 0.5, "the least significant byte is first");
}

/** The limit bounds the whole stream, not one request. */
static void ReadTooMuch(const OxbowRpm_Locator& series) {
    OxbowRpm_BStreamReadLocator stream(series, 40, 4096);  // 4 bytes less than it needs
    try {
        ReadSeries(stream);
        Expect(false, "a stream keeps to its limit");
    } catch (const OxbowExcShortBuffer& e) {
        Expect(e.Needed() == 44 && e.Available() == 40,
               "the failure tells the total and the limit");
    }
}

void ShowStreams() {
    OxbowRpm_Document document("demo");
    OxbowRpm_File file = document.AddFile("streams.oxb", OxbowRpm_Document::AccessCreate);
    const OxbowRpm_Locator first = StoreSeries(file);
    const OxbowRpm_Locator second = StoreSeriesAtOnce(file);
    OxbowRpm_BStreamReadLocator stream(first, kSeriesSize, 4096);
    ReadSeries(stream);
    char one[kSeriesSize];
    char other[kSeriesSize];
    first.Read(kSeriesSize, one);
    second.Read(kSeriesSize, other);
    Expect(std::memcmp(one, other, kSeriesSize) == 0, "both ways store the same bytes");
    ReadTooMuch(first);
    ShowWide();
    document.Close();
}
