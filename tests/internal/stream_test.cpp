// Streams over memory and over pools: one table of values through all of them, random calls against
// plain bytes, long texts, and failures.
#include <random>

#include "doubles/CountingAllocator.h"
#include "doubles/RecordingPlatform.h"
#include "internal/TestFolder.h"

namespace {

using std::string, std::uint64_t, std::uint32_t, std::to_string;
using namespace std::string_literals;

template <class Kind>
string Told(Kind kind, uint64_t first, uint64_t second) {
    return kind + to_string(static_cast<uint32_t>(first)) + "/" +
           to_string(static_cast<uint32_t>(second));
}

/** The refusal and its numbers: S is OxbowExcShortBuffer, T is OxbowExcRequestTooBig. */
template <class Action>
string Raised(Action action) {
    try {
        action();
    } catch (const OxbowExcShortBuffer& failure) {
        return Told(" S", failure.Needed(), failure.Available());
    } catch (const OxbowExcRequestTooBig& failure) {
        return Told(" T", failure.Requested(), failure.Available());
    }
    return "";
}

class Streams : public TestFolder {
protected:
    /** Starts reading the bytes, or writing over as many: where pool and file end, or in memory, if
        there is no buffer. */
    void Open(bool reading, uint64_t limit, uint64_t buffer, const string& data) {
        mOut.reset();
        mIn.reset();
        mData = data;
        mDone = 0;
        mMemory = reading ? data : string(data.size(), '?');
        mPlace = Put(mPool, mMemory);
        mInMemory = buffer == 0;
        reading
            ? Start<OxbowRpm_BStreamReadBuffer, OxbowRpm_BStreamReadLocator>(mIn, limit, buffer)
            : Start<OxbowRpm_BStreamWriteBuffer, OxbowRpm_BStreamWriteLocator>(mOut, limit, buffer);
    }
    template <class OverMemory, class OverPool, class Stream>
    void Start(Stream& stream, uint64_t limit, uint64_t buffer) {
        mInMemory ? stream.reset(new OverMemory(mMemory.data(), mMemory.size(), mPool))
                  : stream.reset(new OverPool(mPlace, limit, buffer));
    }
    /** Ends the stream and gives what stands there. */
    string End() {
        mOut.reset();
        return mInMemory ? mMemory : Get(mPlace, mMemory.size());
    }
    /** Prepares or moves a block, the next of mData, and gives what is raised. */
    string Call(bool prepares, uint64_t n) {
        return Raised([&] {
            string part = mData.substr(mDone, n), got;
            if (prepares) {
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
        mIn ? mIn->Read(got) : mOut->Write(value);
        if constexpr (std::is_integral_v<T>) {
            EXPECT_TRUE(mOut || got == value) << stored;
        } else {
            EXPECT_TRUE(mOut || got.View() == value.View().data());  // up to the first zero byte
        }
        mStored += stored;
    }
    void Reference(const OxbowRpm_Locator& place, const string& stored) {
        OxbowRpm_Locator got;
        mIn ? got.InternalizeImpl(*mIn) : place.ExternalizeImpl(*mOut);
        EXPECT_TRUE(mOut || (place.IsNull() ? got.IsNull() : got == place)) << stored;
        mStored += stored;
    }
    void Table() {
        mStored.clear();
        Value(INT32_MIN, "\0\0\0\x80"s);
        Value(0xFFFFFF84u, "\x84\xFF\xFF\xFF");
        Reference(OxbowRpm_Locator() + 5, "\5\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF"s);
        Reference(mPool.Start() + 0x0102030405060708, "\x8\7\6\5\4\3\2\1\0\0\0\0"s);
        Reference(mOlder.Start() + 5, "\5\0\0\0\0\0\0\0\1\0\0\0"s);
        Value(FennelString("a\0b\0\0c", 6), "\6\0\0\0a\0b\0\0c\0\0"s);
        Value(FennelUnicodeString("\xC3\xBC\xFF!"), "\4\0\0\0\xC3\xBC\xFF!"s);
        for (const char length : "\0\5\x8\xC\xD\xF\x10\x11\x12\x3C\x40\x41"s) {
            const string text(static_cast<unsigned>(length), 'x'), padding(-text.size() % 4, '\0');
            Value(FennelString(text.c_str()), length + "\0\0\0"s + text + padding);
        }
    }
    /** The number of transfers since the last call. */
    static int Transfers() {
        const auto& log = TestPlatform::Log();
        const auto moved = std::count_if(log.begin(), log.end(), [](auto& c) { return c.moved; });
        TestPlatform::Reset();
        return static_cast<int>(moved);
    }

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
    Open(false, 0, 0, string(8000, '?'));
    Table();
    const string stored = mStored;
    for (const uint64_t buffer : {0u, 1u, 15u, 16u, 17u, 64u, 4096u}) {
        for (const uint64_t limit : {uint64_t{0}, stored.size()}) {
            Open(false, limit, buffer, stored);
            Table();
            ASSERT_EQ(End(), stored) << buffer;
            Open(true, limit, buffer, stored);
            Table();
            EXPECT_NE(Call(true, 1), "") << buffer;
        }
    }
}

TEST_F(Streams, RandomCallsMoveTheRightBytesAtOnceAndRefuseTheRest) {
    for (unsigned seed = 1; seed <= 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + to_string(seed));
        std::mt19937 random(seed);
        string data(1 + random() % 999, '\0');
        std::generate(data.begin(), data.end(), [&] { return static_cast<char>(random()); });
        const uint64_t end = data.size(), sizes[] = {0, 1, 16, 17, 64, 4096};
        const uint64_t limit = random() % 2 * (1 + random() % end), size = sizes[random() % 6];
        const bool reads = random() % 2 != 0;
        const uint64_t buffer = std::max<uint64_t>(size, 16);
        uint64_t held = 0;  // what the buffer has ready, or keeps back
        Open(reads, limit, size, data);
        Transfers();
        for (int step = 0; step < 40; ++step) {
            const bool prepares = random() % 2 != 0;
            uint64_t n = 1 + random() % (random() % 4 == 0 ? 1000 : 40);
            n = !prepares || random() % 20 != 0 ? n : random() % 2 == 0 ? 0 - n : n + 0x100000000;
            const uint64_t left = end - mDone, ready = reads ? std::min(buffer, left) : buffer;
            const bool tooFar = !mInMemory && limit != 0 && n > limit - mDone;
            const bool buffers = prepares || (reads && n <= buffer);
            const bool turns = !mInMemory && n > (reads ? held : buffer - held);  // the buffer over
            string expected;
            int transfers = 0;
            if (mInMemory) {
                expected = n > left ? Told(" S", n, left) : "";
            } else if (tooFar) {
                expected = Told(" S", mDone + n, limit);
            } else if (n > ready && buffers) {
                expected = Told(" T", n, ready);
            } else if (!reads && n > left) {
                continue;  // it would leave the pool
            }
            if (turns && (prepares || !tooFar)) {
                transfers =
                    (reads ? (buffers ? ready : left) > held : held > 0) + (!reads && !prepares);
                held = reads && buffers ? ready : 0;
            }
            ASSERT_EQ(Call(prepares, n), expected) << "step " << step;
            ASSERT_EQ(Transfers(), transfers) << "step " << step;
            if (expected.empty() && (buffers || !turns)) {
                held = reads ? held - n : held + n;
            }
        }
        ASSERT_TRUE(reads || End() == data.substr(0, mDone) + string(end - mDone, '?'));
    }
}

TEST_F(Streams, LongTextsComeWholeAndALengthOfNothingCostsNoMemory) {
    constexpr std::size_t kPiece = 1 << 20;  // the most that is read on the word of the length
    for (const std::size_t length : {kPiece - 1, kPiece, kPiece + 1, 2 * kPiece + 3, 5 * kPiece}) {
        for (const std::size_t zeroAt : {length, std::size_t{0}, kPiece - 2, kPiece, 3 * kPiece}) {
            string body(length, 'x');
            zeroAt < length ? body[zeroAt] = '\0' : 0;
            const FennelString text(body.data(), length);
            const auto both = [&] { Value(text, to_string(zeroAt)), Value(7u, "7"); };
            Open(false, 0, 16, string(length + 11, '?'));
            both();
            Open(true, 0, 16, End());
            both();
        }
    }
    FennelString text;
    Open(true, 0, 16, "\xFF\xFF\xFF\x7Ftiny");
    const long before = TestAllocator::ResetPeak();
    mIn->Read(text);
    EXPECT_EQ(text.View(), "tiny");
    EXPECT_LE(TestAllocator::PeakBytes() - before, 4 << 20) << "memory for what is not there";
}

TEST_F(Streams, ReferencesNeedTheirPoolInTheDirectory) {
    const OxbowRpm_Locator place = Put(mOlderFile, string(16, '?'));
    char memory[] = "0123456789abcde";
    const auto store = [&](OxbowRpm_BStreamWrite&& out) {
        EXPECT_THROW(mPool.Start().ExternalizeImpl(out), OxbowExcCantExternalizeLoc);
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
    EXPECT_THROW(end(false), OxbowExcIOBounds);
    EXPECT_THROW(end(true), int);
}

}  // namespace
