#include <cstring>
#include <exception>
#include <functional>
#include <thread>

#include "Guide.h"

/** A document is made, used and destroyed by one thread; a failure is handed to another. */
static void FillFile(const char* path, std::exception_ptr& failure) try {
    OxbowRpm_Document document("demo");
    OxbowRpm_File file = document.AddFile(path, OxbowRpm_Document::AccessCreate);
    for (std::uint32_t i = 0; i < 1000; ++i) {
        OxbowRpm_BStreamWriteLocator stream(file.Allocate(4), 4, 16);
        stream.Write(i);
    }
    document.Close();
} catch (...) {
    failure = std::current_exception();
}

static void FillTwoFiles() {
    std::exception_ptr failures[2];
    std::thread one(FillFile, "one.oxb", std::ref(failures[0]));
    std::thread two(FillFile, "two.oxb", std::ref(failures[1]));
    one.join();
    two.join();
    for (const std::exception_ptr& failure : failures) {
        if (failure != nullptr) {
            std::rethrow_exception(failure);
        }
    }
}

/** A reader knows the pools of its own opening; of their bytes it reads what is there. */
static void ReadBesideAWriter() {
    OxbowRpm_Document writer("demo");
    OxbowRpm_File written = writer.AddFile("one.oxb", OxbowRpm_Document::AccessUpdate);
    OxbowRpm_Document reader("demo");
    OxbowRpm_File seen = reader.AddFile("one.oxb", OxbowRpm_Document::AccessReadOnly);

    written.Allocate(4).Write(4, "more");
    written.NewPool();
    Expect(written.PoolCount() == 2 && seen.PoolCount() == 1, "a reader learns of no new pool");
    Expect(seen.Pool().Length() == 4000, "nor of a pool's growth");

    written.Pool(0).Start().Write(4, "new!");
    char bytes[5] = {};
    seen.Start().Read(4, bytes);
    Expect(std::strcmp(bytes, "new!") == 0, "a reader reads what was written since");
}

/** Two documents of one program exclude each other as two programs do. */
static void OpenTwiceForWriting() {
    OxbowRpm_Document one("demo");
    OxbowRpm_Document other("demo");
    one.AddFile("two.oxb", OxbowRpm_Document::AccessUpdate);
    try {
        other.AddFile("two.oxb", OxbowRpm_Document::AccessUpdate);
        Expect(false, "a second writer is refused");
    } catch (const OxbowExcSystemError& e) {
        Expect(std::strcmp(e.ServiceName().Text(), "CreateFile") == 0, "the open itself fails");
    }
}

void ShowSharing() {
    FillTwoFiles();
    ReadBesideAWriter();
    OpenTwiceForWriting();
}
