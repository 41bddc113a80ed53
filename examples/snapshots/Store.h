#ifndef SNAPSHOTS_STORE_H
#define SNAPSHOTS_STORE_H

#include <OxbowPoolManager/OxbowRpm_Document.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <vector>

/** What a tree pool holds of a file, folder or link. */
struct Record {
    std::uint32_t mode = 0; /**< With the kind, as stat returns it. */
    timespec modified = {};
    timespec changed = {};   /**< No program can set it: it shows that a file is as it was. */
    std::uint64_t inode = 0; /**< Tells files apart that were changed at one moment. */
    std::uint64_t size = 0;  /**< Of a file. */
    std::uint64_t checksum = 0;
    std::string target;        /**< Where a link leads. */
    OxbowRpm_Locator contents; /**< The file's bytes in a contents pool; null for an empty file. */
};
/** By path below the tree's root, which is itself at "": a folder comes before what it holds. */
using Records = std::map<std::string, Record>;

/** A file is stored, read and summed up in pieces of this size. */
const std::size_t kPiece = 256 * 1024;
/** Takes a file's checksum, 0 at first, past its next piece. */
std::uint64_t AddToChecksum(std::uint64_t checksum, const char* piece, std::size_t size);

/** A tree pool begins with this. It is written last and reads as zeros until then: that is how an
    unfinished snapshot is known. */
struct Head {
    std::uint64_t records = 0;     /**< 0 if the snapshot is unfinished. */
    std::uint64_t recordBytes = 0; /**< A killed push may leave foreign bytes behind these. */
    std::uint64_t takenAt = 0;     /**< Seconds since 1970. */
    std::uint64_t bytes = 0;       /**< Of all files. */
};

/** A folder with two files of one document. `contents` holds the bytes of files, one pool for each
    take; `trees` holds the records, and snapshot N is its pool N. Pool 0 of either is a mark. */
class Store {
public:
    enum class Access { Read, Write };

    /** Opens the store; for Write, makes what is missing of it. */
    Store(const std::string& folder, Access access);

    OxbowRpm_File& Contents() { return *mContents; }
    OxbowRpm_File& Trees() { return *mTrees; }

    /** Those that were there when the store was opened; snapshot 1 comes first. */
    const std::vector<Head>& Heads() const { return mHeads; }
    /** Raises Failure if the snapshot is missing, unfinished, or damaged. */
    Records ReadRecords(std::uint32_t snapshot) const;

    /** Starts pools for a snapshot's contents and records; returns the place of the head. */
    OxbowRpm_Locator BeginSnapshot();
    void FinishSnapshot(const OxbowRpm_Locator& head, const Records& records);

private:
    OxbowRpm_File OpenOrCreate(const std::string& path);
    OxbowRpm_File AddFile(const std::string& path, OxbowRpm_Document::AccessMode mode);
    void ReadHeads();

    std::string mFolder;
    OxbowRpm_Document mDocument;
    std::optional<OxbowRpm_File> mContents;
    std::optional<OxbowRpm_File> mTrees;
    std::vector<Head> mHeads;
};

#endif
