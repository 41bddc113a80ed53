// Streams over memory and over pools: one table of values through all of them, what each call moves
// and raises, random calls against plain bytes, damaged bytes, and failures.
#include <cstring>
#include <random>
#include <sstream>

#include "doubles/CountingAllocator.h"
#include "doubles/RecordingPlatform.h"
#include "internal/TestFolder.h"

namespace {

using std::string, std::uint64_t;
using namespace std::string_literals;

string Told(const char* failure, uint64_t asked, uint64_t there) {
    const string first = std::to_string(static_cast<unsigned>(asked));
    return failure + ("(" + first + "," + std::to_string(static_cast<unsigned>(there)) + ")");
}

/** The class of what is raised, and the numbers if it is a stream's own. */
template <class Action>
string Raised(Action action) {
    try {
        action();
    } catch (const OxbowExcShortBuffer& failure) {
        return Told(" ShortBuffer", failure.Needed(), failure.Available());
    } catch (const OxbowExcRequestTooBig& failure) {
        return Told(" RequestTooBig", failure.Requested(), failure.Available());
    } catch (const FennelException& failure) {
        const string text(failure.AsString().View());
        return text.substr(0, text.find(':'));
    }
    return "";
}

/** Limit and size of the buffer, which is 0 for a stream over memory. */
struct Shape {
    uint64_t limit, buffer;
};

class Streams : public TestFolder {
protected:
    /** Starts reading the bytes, or writing over as many: in memory, or where pool and file end. */
    void Open(bool reading, Shape shape, const string& data) {
        mOut.reset();
        mIn.reset();
        mData = data;
        mDone = 0;
        mMemory = reading ? data : string(data.size(), '?');
        mPlace = Put(mPool, mMemory);
        mInMemory = shape.buffer == 0;
        reading ? Start<OxbowRpm_BStreamReadBuffer, OxbowRpm_BStreamReadLocator>(mIn, shape)
                : Start<OxbowRpm_BStreamWriteBuffer, OxbowRpm_BStreamWriteLocator>(mOut, shape);
    }
    template <class OverMemory, class OverPool, class Stream>
    void Start(Stream& stream, Shape shape) {
        mInMemory ? stream.reset(new OverMemory(mMemory.data(), mMemory.size(), mPool))
                  : stream.reset(new OverPool(mPlace, shape.limit, shape.buffer));
    }
    /** Ends the stream and gives what stands there. */
    string End() {
        mOut.reset();
        return mInMemory ? mMemory : Get(mPlace, mMemory.size());
    }
    /** Prepares or moves a Block, the next of mData, and gives what is raised. */
    string Call(char kind, uint64_t n) {
        return Raised([&] {
            string part = mData.substr(mDone, n), got;
            if (kind == 'P') {
                mIn ? void(got.assign(mIn->PrepRead(n), n))
                    : void(part.copy(mOut->PrepWrite(n), n));
            } else if (mOut) {
                mOut->WriteBlock(part.data(), static_cast<unsigned>(n));
            } else {
                got.assign(n, '?');
                mIn->ReadBlock(got.data(), static_cast<unsigned>(n));
            }
            mDone += part.size();
            part.resize(n, '?');  // what has not come must be as it was
            EXPECT_TRUE(mOut || got == part);
        });
    }

    /** Writes or reads the value; notes its stored form. */
    template <class T>
    void Value(const T& value, const string& stored) {
        T got{};
        bool same = false;
        if constexpr (std::is_same_v<T, OxbowRpm_Locator>) {
            mIn ? got.InternalizeImpl(*mIn) : value.ExternalizeImpl(*mOut);
            same = value.IsNull() ? got.IsNull() : mIn && got == value;
        } else {
            mIn ? mIn->Read(got) : mOut->Write(value);
            if constexpr (std::is_integral_v<T>) {
                same = got == value;
            } else {
                same = got.View() == value.View().data();  // up to the first zero byte
            }
        }
        EXPECT_TRUE(mOut || same) << stored;
        mStored += stored;
    }
    void Table() {
        mStored.clear();
        Value(INT32_MIN, "\0\0\0\x80"s);
        Value(UINT32_MAX, "\xFF\xFF\xFF\xFF");
        Value(0x01020384u, "\x84\3\2\1");
        Value(OxbowRpm_Locator() + 5, "\5\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF"s);
        Value(mPool.Start() + 0x0102030405060708, "\x8\7\6\5\4\3\2\1\0\0\0\0"s);
        Value(mOlder.Start() + 5, "\5\0\0\0\0\0\0\0\1\0\0\0"s);
        Value(FennelString(), "\0\0\0\0"s);
        Value(FennelString("a\0b\0\0c", 6), "\6\0\0\0a\0b\0\0c\0\0"s);
        Value(FennelUnicodeString(), "\0\0\0\0"s);
        Value(FennelUnicodeString("\xC3\xBC\xFF!"), "\4\0\0\0\xC3\xBC\xFF!"s);
        Value(FennelUnicodeString("abcde"), "\5\0\0\0abcde\0\0\0"s);
        for (const char length : "\x8\xC\xD\xF\x10\x11\x12\x3C\x40\x41"s) {
            const string text(static_cast<unsigned>(length), 'x'), padding(-text.size() % 4, '\0');
            Value(FennelString(text.c_str()), length + "\0\0\0"s + text + padding);
        }
        const string text(70001, 'y');
        Value(FennelUnicodeString(text.c_str()), "\x71\x11\1\0"s + text + "\0\0\0"s);
    }
    static std::vector<Shape> Shapes(uint64_t length) {
        std::vector<Shape> shapes = {{length, 0}};
        for (const uint64_t size : {1u, 15u, 16u, 17u, 64u, 4096u}) {
            shapes.insert(shapes.end(), {{0, size}, {length, size}});
        }
        return shapes;
    }
    /** The transfers since the last call, by offset in the place. */
    string Transfers() const {
        string told;
        for (const TestPlatform::Call& call : TestPlatform::Log()) {
            if (call.moved != 0) {
                told += call.kind == TestPlatform::Read ? " r" : " w";
                told += std::to_string(call.position + mMemory.size() - 112 - mPool.Length());
                told += "+" + std::to_string(call.moved);
            }
        }
        TestPlatform::Reset();
        return told;
    }

    struct LeakCheck {
        ~LeakCheck() { EXPECT_EQ(TestAllocator::LiveBlocks(), before); }
        long before = TestAllocator::LiveBlocks();
    } mLeakCheck;
    OxbowRpm_Document mDocument{"STRM"};
    OxbowRpm_File mOlderFile = mDocument.AddFile(Name("0"), OxbowRpm_Document::AccessCreate);
    OxbowRpm_File mFile = mDocument.AddFile(Name("1"), OxbowRpm_Document::AccessCreate);
    OxbowRpm_Pool mOlder = mOlderFile.Pool(), mPool = mFile.Pool();
    OxbowRpm_Locator mPlace;
    bool mInMemory = true;
    string mMemory, mData, mStored;
    uint64_t mDone = 0;
    std::unique_ptr<OxbowRpm_BStreamRead> mIn;
    std::unique_ptr<OxbowRpm_BStreamWrite> mOut;
};

TEST_F(Streams, AllCarryTheTableInTheSameBytes) {
    Open(false, {}, string(80000, '?'));
    Table();
    const string stored = mStored;
    for (const Shape& shape : Shapes(stored.size())) {
        SCOPED_TRACE(shape.buffer);
        Open(false, shape, stored);
        Table();
        ASSERT_EQ(End(), stored);
        Open(true, shape, stored);
        Table();
        EXPECT_NE(Call('P', 1), "");
    }
}

TEST_F(Streams, EachCallMovesAndRaisesThis) {
    // Direction, limit, buffer size, calls (Prepare, Block) on 120 bytes; then what each did, and
    // the end of the stream at last: + an allocation, r and w transfers, offset and count.
    std::istringstream rows(R"(
r 0 16 P12 P8 P8 P8 = + r0+16; r16+12;; r28+16;
r 0 1 P10 B17 P3 = + r0+16; r16+11; r27+16;
r 0 15 P16 P17 B17 = + r0+16; r16+16 RequestTooBig(17,16); r32+1;
r 0 17 P17 B18 B0 = + r0+17; r17+18;;
r 0 16 B100 B30 B1 P1 = r0+100; r100+20;+ RequestTooBig(1,0); RequestTooBig(1,0);
r 0 64 B110 P11 B10 P1 = r0+110;+ r110+10 RequestTooBig(11,10);; RequestTooBig(1,0);
r 20 16 P10 B11 P11 B10 P1 B1 B0 = + r0+16; ShortBuffer(21,20); r16+10 ShortBuffer(21,20);; ShortBuffer(21,20); ShortBuffer(21,20);;
r 100 16 B90 P10 P1 B1 = r0+90;+ r90+16; ShortBuffer(101,100); ShortBuffer(101,100);
r 10 16 P17 = + r0+16 ShortBuffer(17,10);
w 0 16 P10 B7 P1 = +; w0+10 w10+7;; w17+1
w 0 15 P10 B6 P1 = +;; w0+16; w16+1
w 0 1 P10 P17 B17 = +; w0+10 RequestTooBig(17,16); w10+17;
w 0 17 B17 B1 B18 = +; w0+17 w17+1; w18+18;
w 0 16 B17 B0 = w0+17;;
w 20 16 P10 B11 P11 B10 P1 B1 B0 = +; ShortBuffer(21,20); w0+10 ShortBuffer(21,20);; ShortBuffer(21,20); ShortBuffer(21,20);; w10+10
w 100 16 B90 P10 P1 B1 = w0+90;+; ShortBuffer(101,100); ShortBuffer(101,100); w90+10
w 10 16 P17 = + ShortBuffer(17,10);
)");
    string direction, call, expected;
    int count = 0;
    for (Shape shape{}; rows >> direction >> shape.limit >> shape.buffer; ++count) {
        Open(direction == "r", shape, string(120, 'd'));
        TestPlatform::Reset();
        string told;
        while (rows >> call && call != "=") {
            const long before = TestAllocator::LiveBlocks();
            const string raised = Call(call[0], std::stoull(call.substr(1)));
            told += TestAllocator::LiveBlocks() != before ? "+" : "";
            told += Transfers() + raised + ";";
        }
        mOut.reset();
        std::getline(rows, expected);
        EXPECT_EQ(told + Transfers(), expected.substr(expected[1] == '+')) << "row " << count;
    }
    EXPECT_EQ(count, 17);
}

TEST_F(Streams, RandomCallsMoveTheRightBytesAndRefuseTheRest) {
    for (unsigned seed = 1; seed <= 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        string data(1 + random() % 999, '\0');
        std::generate(data.begin(), data.end(), [&] { return static_cast<char>(random()); });
        const uint64_t end = data.size(), sizes[] = {0, 1, 16, 17, 64, 4096};
        const Shape shape{random() % 2 * (1 + random() % end), sizes[random() % 6]};
        const bool reading = random() % 2 != 0;
        const uint64_t buffer = std::max<uint64_t>(shape.buffer, 16);
        Open(reading, shape, data);
        for (int step = 0; step < 40; ++step) {
            const char kind = "PB"[random() % 2];
            uint64_t n = 1 + random() % (random() % 4 == 0 ? 1000 : 40);
            n = kind == 'B' || random() % 20 != 0 ? n : random() % 2 == 0 ? 0 - n : n + 0x100000000;
            const uint64_t left = end - mDone, ready = reading ? std::min(buffer, left) : buffer;
            string expected;
            if (mInMemory) {
                expected = n > left ? Told(" ShortBuffer", n, left) : "";
            } else if (shape.limit != 0 && n > shape.limit - mDone) {
                expected = Told(" ShortBuffer", mDone + n, shape.limit);
            } else if (n > ready && (kind == 'P' || (reading && n <= buffer))) {
                expected = Told(" RequestTooBig", n, ready);
            } else if (!reading && n > left) {
                continue;  // it would leave the pool
            }
            ASSERT_EQ(Call(kind, n), expected) << "step " << step;
        }
        ASSERT_TRUE(reading || End() == data.substr(0, mDone) + string(end - mDone, '?'));
    }
}

TEST_F(Streams, DamagedValuesAreRefusedAndHarmless) {
    const string damaged =
        "\xFF\xFF\xFF\xFF\0\0\0\x80\1\1\1\1\1\1\1\1\2\0\0\0"
        "\1\1\1\1\1\1\1\1\xFE\xFF\xFF\xFF\1\0\0\0axyz\4\3\2\1"s;
    for (const Shape& shape : Shapes(damaged.size())) {
        SCOPED_TRACE(shape.buffer);
        Open(true, shape, damaged);
        FennelString text("before");
        FennelUnicodeString wide("before");
        testing::internal::CaptureStderr();
        EXPECT_EQ(Raised([&] { mIn->Read(text); }), "OxbowExcValidationFailure") << "-1";
        EXPECT_EQ(Raised([&] { mIn->Read(wide); }), "OxbowExcValidationFailure") << "-2^31";
        EXPECT_TRUE(text.View() == "before" && wide.View() == "before");
        OxbowRpm_Locator locator = mOlder.Start() + 7;
        EXPECT_EQ(CodeOf([&] { locator.InternalizeImpl(*mIn); }), 1) << "slot 2 of 2";
        EXPECT_EQ(testing::internal::GetCapturedStderr().find("OxbowVALIDATE failed: slot"), 0u);
        EXPECT_TRUE(locator == mOlder.Start());
        locator += 7;
        locator.InternalizeImpl(*mIn);
        EXPECT_TRUE(locator == mOlder.Start()) << "slot -2 counts as none";
        std::uint32_t behind = 0;
        mIn->Read(text);
        mIn->Read(behind);
        EXPECT_TRUE(text.View() == "a" && behind == 0x01020304) << "padding is not looked at";
    }
    FennelString text;
    const auto readBack = [&](std::size_t length, std::size_t zeroAt) {
        string body(length, 'x');
        body.replace(std::min(zeroAt, length), 1, 1, '\0').resize(length + (0 - length) % 4);
        const auto size = static_cast<std::uint32_t>(length);
        const char field[] = {char(size), char(size >> 8), char(size >> 16), char(size >> 24)};
        Open(true, {0, 16}, string(field, 4) + body + "\7\0\0\0"s);
        std::uint32_t behind = 0;
        mIn->Read(text);
        mIn->Read(behind);
        EXPECT_TRUE(text.View() == body.c_str() && behind == 7) << length << " " << zeroAt;
    };
    const std::size_t piece = 1 << 20;  // the most that is read on the word of the length
    for (const std::size_t length : {piece - 1, piece, piece + 1, 2 * piece + 3, 5 * piece}) {
        for (const std::size_t zeroAt : {length, std::size_t{0}, piece - 1, piece, 3 * piece}) {
            readBack(length, zeroAt);
        }
    }
    Open(true, {0, 16}, "\xFF\xFF\xFF\x7Ftiny");
    const long before = TestAllocator::ResetPeak();
    mIn->Read(text);
    EXPECT_EQ(text.View(), "tiny");
    EXPECT_LE(TestAllocator::PeakBytes() - before, 4 << 20) << "memory for what is not there";
}

TEST_F(Streams, ReferencesNeedTheirPoolInTheDirectory) {
    const OxbowRpm_Locator place = Put(mOlderFile, string(16, '?'));
    char memory[] = "0123456789abcde";
    const auto store = [&](OxbowRpm_BStreamWrite&& out) {
        EXPECT_EQ(Raised([&] { mPool.Start().ExternalizeImpl(out); }),
                  "OxbowExcCantExternalizeLoc");
        out.Write("");
    };
    store(OxbowRpm_BStreamWriteLocator(place, 0, 16));
    EXPECT_EQ(Get(place, 16), string(16, '\0')) << "stored old memory, or not behind the reference";
    store(OxbowRpm_BStreamWriteBuffer(memory, 16, mOlder.Directory()));
    EXPECT_EQ(string(memory + 12, 4), string(4, '\0')) << "it stands behind the twelve bytes";
    OxbowRpm_BStreamWriteBuffer out(memory, 12);
    EXPECT_NO_THROW(OxbowRpm_Locator().ExternalizeImpl(out)) << "a null needs no directory";
}

TEST_F(Streams, AnEndingWriterRaisesUnlessAnotherFailureIsOnItsWay) {
    const OxbowRpm_Locator place = mFile.Allocate(3);
    const auto end = [&](bool failing) {
        OxbowRpm_BStreamWriteLocator out(place, 0, 16);
        out.PrepWrite(4);
        failing ? throw 7 : 0;
    };
    EXPECT_EQ(Raised([&] { end(false); }), "OxbowExcIOBounds");
    EXPECT_THROW(end(true), int);
}

}  // namespace
