#ifndef OXBOW_TEST_TEST_FOLDER_H
#define OXBOW_TEST_TEST_FOLDER_H

#include <OxbowPoolManager/OxbowPoolManager.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#ifdef OXBOW_TEST_IN_MEMORY
#include "doubles/MemoryFiles.h"

struct TestFiles : testing::Test {
    ~TestFiles() override { MemoryFiles::All().clear(); }
    std::string Bytes(const std::string& file) const { return At(file).Bytes(); }
    void Store(const std::string& file, const std::string& bytes) const { At(file).Set(bytes); }
    MemoryFile& At(const std::string& file) const { return MemoryFiles::At(mFolder / file); }
    const std::filesystem::path mFolder = MemoryFiles::kFolder;
};
#else
struct TestFiles : testing::Test {
    ~TestFiles() override { std::filesystem::remove_all(mFolder); }
    std::string Bytes(const std::string& file) const {
        std::ifstream in(mFolder / file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    void Store(const std::string& file, const std::string& bytes) const {
        std::ofstream(mFolder / file, std::ios::binary) << bytes;
    }
    std::string mName = std::filesystem::temp_directory_path() / "oxbow-XXXXXX";
    const std::filesystem::path mFolder = mkdtemp(mName.data());
};
#endif

/** A folder of its own for each test, gone afterwards, with the words that such tests speak in. */
class TestFolder : public TestFiles {
protected:
    std::string PathOf(const std::string& file) const { return mFolder / file; }
    FennelUnicodeString Name(const std::string& file) const { return PathOf(file).c_str(); }
    /** Books a range behind the data and fills it. */
    template <class FileOrPool>
    static OxbowRpm_Locator Put(FileOrPool target, const std::string& bytes) {
        const OxbowRpm_Locator place = target.Allocate(bytes.size());
        place.Write(bytes.size(), bytes.data());
        return place;
    }
    static std::string Get(const OxbowRpm_Locator& place, std::size_t length) {
        std::string bytes(length, '?');
        bytes.resize(static_cast<std::size_t>(place.Read(length, bytes.data())));
        return bytes;
    }
    static std::string Text(const FennelCountedText& text) { return std::string(text.View()); }
    /** The code of the exception that the action raises, 0 for none. */
    template <class Action>
    static int CodeOf(Action action) {
        try {
            action();
        } catch (const FennelException& failure) {
            return failure.GetCode();
        }
        return 0;
    }
};

#endif
