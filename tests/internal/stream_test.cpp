// Streams over memory and over pools: a table of values through all, and random calls on bytes.
#include <random>

#include "doubles/CountingAllocator.h"
#include "internal/TestFolder.h"

using std::string, std::uint64_t, std::uint32_t, std::to_string;
using namespace std::string_literals;

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
    /** Ends the stream and returns what is there. */
    string End() {
        mOut.reset();
        return mInMemory ? mMemory : Get(mPlace, mMemory.size());
    }
    /** Prepares or moves a block, the next of mData; returns the code of what is raised. */
    int Call(bool prepares, uint64_t n) {
        return CodeOf([&] {
            string part = mData.substr(mDone, n), got(prepares ? 0 : n, '?');
            if (prepares) {
                mIn ? void(got.assign(mIn->PrepRead(n), n))
                    : void(part.copy(mOut->PrepWrite(n), n));
            } else {
                mIn ? mIn->ReadBlock(got.data(), static_cast<uint32_t>(n))
                    : mOut->WriteBlock(part.data(), static_cast<uint32_t>(n));
            }
            mDone += part.size();
            part.resize(n, '?');  // what has not come must be as it was
            EXPECT_TRUE(mOut || got == part);
        });
    }

    static std::int64_t Shown(std::int64_t value) { return value; }
    static string Shown(const FennelCountedText& text) { return text.View().data(); }  // to a zero
    /** Writes or reads the value; notes its stored form. */
    template <class T>
    void Value(const T& value, const string& stored) {
        T got{};
        mIn ? mIn->Read(got) : mOut->Write(value);
        EXPECT_TRUE(mOut || Shown(got) == Shown(value)) << stored;
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
    OxbowRpm_Document mDocument{"STRM"};
    OxbowRpm_Pool mOlder = mDocument.AddFile(Name("0"), OxbowRpm_Document::AccessCreate).Pool();
    OxbowRpm_Pool mPool = mDocument.AddFile(Name("1"), OxbowRpm_Document::AccessCreate).Pool();
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
            EXPECT_NE(Call(true, 1), 0) << buffer;
        }
    }
    char memory[12];
    OxbowRpm_BStreamWriteBuffer bare(memory, 12);
    EXPECT_NO_THROW(OxbowRpm_Locator().ExternalizeImpl(bare)) << "a null needs no directory";
}

TEST_F(Streams, ARefusedReferenceReadsAsNull) {
    const OxbowRpm_Pool younger =
        mDocument.AddFile(Name("2"), OxbowRpm_Document::AccessCreate).Pool();
    for (const uint64_t buffer : {0u, 16u}) {
        Open(false, 0, buffer, string(12, '?'));
        EXPECT_THROW((younger.Start() + 5).ExternalizeImpl(*mOut), OxbowExcCantExternalizeLoc);
        Open(true, 0, buffer, End());
        OxbowRpm_Locator got;
        got.InternalizeImpl(*mIn);
        EXPECT_TRUE(got.IsNull()) << "through a buffer of " << buffer;
    }
}

TEST_F(Streams, RandomCallsMoveTheRightBytesAndRefuseTheRest) {
    for (unsigned seed = 1; seed <= 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + to_string(seed));
        std::mt19937 random(seed);
        string data(1 + random() % 999, '\0');
        std::generate(data.begin(), data.end(), [&] { return static_cast<char>(random()); });
        const uint64_t end = data.size(), sizes[] = {0, 1, 16, 17, 64, 4096};
        const uint64_t limit = random() % 2 * (1 + random() % end), size = sizes[random() % 6];
        const bool reads = random() % 2 != 0;
        Open(reads, limit, size, data);
        for (int step = 0; step < 40; ++step) {
            const bool prepares = random() % 2 != 0;
            uint64_t n = 1 + random() % (random() % 4 == 0 ? 1000 : 40);
            n = !prepares || random() % 20 != 0 ? n : random() % 2 == 0 ? 0 - n : n + 0x100000000;
            const uint64_t left = end - mDone, buffer = std::max<uint64_t>(size, 16);
            const uint64_t ready = reads ? std::min(buffer, left) : buffer;
            const bool tooFar = mInMemory ? n > left : limit != 0 && n > limit - mDone;
            const bool tooBig = !mInMemory && n > ready && (prepares || (reads && n <= buffer));
            const int expected = tooFar ? 24 : tooBig ? 25 : 0;  // ShortBuffer, RequestTooBig
            if (expected == 0 && !reads && n > left) {
                continue;  // it would leave the pool
            }
            ASSERT_EQ(Call(prepares, n), expected) << "step " << step;
        }
        ASSERT_TRUE(reads || End() == data.substr(0, mDone) + string(end - mDone, '?'));
    }
}

TEST_F(Streams, LongTextsComeWholeAndALengthOfNothingCostsNoMemory) {
    constexpr std::size_t kMiB = 1 << 20;
    for (const std::size_t length : {kMiB - 1, kMiB, 5 * kMiB + 1}) {
        for (const std::size_t zeroAt : {length, std::size_t{0}, kMiB}) {
            string body(length, 'x');
            zeroAt < length ? body[zeroAt] = '\0' : 0;
            const FennelString text(body.data(), length);
            Open(false, 0, 16, string(length + 11, '?'));
            Value(text, "text"), Value(7u, "7");
            Open(true, 0, 16, End());
            Value(text, "text"), Value(7u, "7");
        }
    }
    Open(true, 0, 16, "\xFF\xFF\xFF\x7Ftiny");
    const long before = TestAllocator::ResetPeak();
    Value(FennelString("tiny"), "a text that ends with its file");
    EXPECT_LE(TestAllocator::PeakBytes() - before, 1 << 20) << "memory for what is not there";
    const string ten(10, 'x');
    Open(true, 14, 16, "\x64\0\0\0"s + ten);
    FennelString text;
    EXPECT_THROW(mIn->Read(text), OxbowExcShortBuffer);
    try {
        Open(true, 4 + 16, 16, "\0\0\x20\0"s + ten);
        mIn->Read(text);
        FAIL() << "a text past the limit";
    } catch (const OxbowExcShortBuffer& refused) {
        EXPECT_EQ(refused.Needed(), 4u + 0x200000u) << "the whole padded length";
        EXPECT_EQ(refused.Available(), 20u);
    }
}

TEST_F(Streams, AnEndingWriterRaisesUnlessAnotherFailureIsOnItsWay) {
    const auto end = [&](bool failing) {
        OxbowRpm_BStreamWriteLocator out(mPool.End(), 0, 16);
        out.PrepWrite(4);
        if (failing) {
            throw 7;
        }
    };
    EXPECT_THROW(end(false), OxbowExcIOBounds);
    EXPECT_THROW(end(true), int);

    mPlace = Put(mPool, "????");
    const auto leave = [&] {
        OxbowRpm_BStreamWriteLocator out(mPlace, 0, 16);
        out.WriteBlock("data", 4);
        throw 7;
    };
    EXPECT_THROW(leave(), int);
    EXPECT_EQ(Get(mPlace, 4), "data") << "the last bytes are written all the same";
}
