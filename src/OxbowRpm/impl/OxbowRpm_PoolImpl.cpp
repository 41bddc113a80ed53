#include "OxbowRpm/impl/OxbowRpm_PoolImpl.h"

#include <OxbowPoolManager/OxbowExceptions.h>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"
#include "OxbowRpm/impl/OxbowRpm_Sum.h"
#include "PrivateInterfaces/OxbowRpm_WeakRef.inl"

template class OxbowRpm_StrongRef<OxbowRpm_PoolImpl>;
template class OxbowRpm_WeakRef<OxbowRpm_PoolImpl>;

OxbowRpm_PoolImpl::OxbowRpm_PoolImpl(
    OxbowRpm_FileImpl* file, const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& directory,
    std::uint64_t start)
    : mFile(file),
      mDirectory(directory),
      mImmutable(true),
      mHeaderIsStored(false),
      mStart(start),
      mLength(0),
      mDataOffset(0),
      mHeaderWord1(2),
      mHeaderWord2(0),
      mHeaderRoom(nullptr) {}

void OxbowRpm_PoolImpl::InitEmpty() {
    mDataOffset = OxbowRpm_Header::DataOffset(static_cast<std::uint32_t>(mDirectory->Length()));
    mLength = mDataOffset;
}

OxbowRpm_Header OxbowRpm_PoolImpl::ReadHeaderFor(std::uint32_t userSignature) const {
    char bytes[OxbowRpm_Header::kSize];
    if (mFile->ReadAt(mStart, sizeof bytes, bytes) < sizeof bytes) {
        OxbowExcCorruptHeader().Throw(__FILE__, __LINE__);
    }
    if (!OxbowRpm_Header::HasSignature(bytes)) {
        OxbowExcNotOxbowFile().Throw(__FILE__, __LINE__);
    }
    const int version = OxbowRpm_Header::Version(bytes);
    if (version != OxbowRpm_Header::kVersion) {
        OxbowExcNeedUpgrade(OxbowRpm_Header::kVersion, static_cast<unsigned int>(version),
                            OxbowRpm_FileNameBuffer(mFile->FileName().ConvertToChar()))
            .Throw(__FILE__, __LINE__);
    }
    const OxbowRpm_Header header = OxbowRpm_Header::Decode(bytes);
    if (header.mUserSignature != userSignature) {
        OxbowExcUserSigMismatch().Throw(__FILE__, __LINE__);
    }
    return header;
}

void OxbowRpm_PoolImpl::ReadHeader(std::uint64_t fileEnd) {
    const OxbowRpm_Header header = ReadHeaderFor(mFile->UserSignature());
    TakeLength(header.mLength, fileEnd);
    mHeaderWord1 = header.mWord1;
    mHeaderWord2 = header.mWord2;
    ReadDirectory(header.mCount);
    mDataOffset = OxbowRpm_Header::DataOffset(header.mCount);
    // A pool that ends before its own data would make the walk of the chain meet its bytes again.
    if (mLength < mDataOffset) {
        OxbowExcCorruptHeader().Throw(__FILE__, __LINE__);
    }
    mHeaderIsStored = true;
}

void OxbowRpm_PoolImpl::TakeLength(std::uint64_t stored, std::uint64_t fileEnd) {
    if (stored > UINT64_MAX - mStart) {
        OxbowExcCorruptHeader().Throw(__FILE__, __LINE__);
    }
    mLength = stored;
    if (mLength == 0 && fileEnd > mStart) {
        mLength = fileEnd - mStart;
    }
}

void OxbowRpm_PoolImpl::ReadDirectory(std::uint32_t count) {
    // The number comes from the file. What a document can know bounds what is allocated by it.
    if (count == 0 || count > OxbowRpm_PoolMap::kMaxSlots) {
        OxbowExcCorruptDirectory().Throw(__FILE__, __LINE__);
    }
    const std::size_t size = std::size_t{OxbowRpm_Header::kEntrySize} * count;
    const mem_BufferOwner buffer(mem_OperatorNewThrowBuiltin(size));
    if (mFile->ReadAt(mStart + OxbowRpm_Header::kSize, size, buffer.Bytes()) < size) {
        OxbowExcCorruptDirectory().Throw(__FILE__, __LINE__);
    }
    mDirectory->InitFromUUIDs(reinterpret_cast<const PoolUUID*>(buffer.Bytes()),
                              static_cast<std::int32_t>(count));
}

void OxbowRpm_PoolImpl::ReserveHeader() {
    if (mHeaderRoom.Bytes() == nullptr) {
        mem_BufferOwner(mem_OperatorNewThrowBuiltin(mDataOffset)).Swap(mHeaderRoom);
    }
}

void OxbowRpm_PoolImpl::WriteHeader() {
    ReserveHeader();
    OxbowRpm_Header header;
    header.mUserSignature = mFile->UserSignature();
    header.mLength = mImmutable ? mLength : 0;
    header.mWord1 = mHeaderWord1;
    header.mWord2 = mHeaderWord2;
    header.mCount = static_cast<std::uint32_t>(mDirectory->Length());
    header.Encode(mHeaderRoom.Bytes());
    mDirectory->WriteUUIDs(mHeaderRoom.Bytes() + OxbowRpm_Header::kSize);

    mFile->AllocateUpTo(mStart + mDataOffset);
    mHeaderIsStored = false;
    mFile->WriteAt(mStart, mDataOffset, mHeaderRoom.Bytes());
    mHeaderIsStored = true;
}

void OxbowRpm_PoolImpl::MakeImmutable(std::uint64_t end) {
    // What a failed copy has left behind this pool becomes part of it, as it would when the file is
    // opened again: a gap would end the chain.
    mLength = end - mStart;
    mImmutable = true;
    WriteHeader();
    mem_BufferOwner(nullptr).Swap(mHeaderRoom);
}

void OxbowRpm_PoolImpl::MakeMutable() {
    mImmutable = false;
    WriteHeader();
}

void OxbowRpm_PoolImpl::CheckSealable(std::uint64_t end) const {
    const std::uint64_t length = end - mStart;
    if (length > OxbowRpm_Header::kMaxLength) {
        OxbowExcIOBounds(0, length - mDataOffset, OxbowRpm_Header::kMaxLength - mDataOffset)
            .Throw(__FILE__, __LINE__);
    }
}

void OxbowRpm_PoolImpl::CheckCopyable(std::uint32_t userSignature) const {
    const std::uint64_t stored = ReadHeaderFor(userSignature).mLength;
    if (mFile->TrueSize() < EndPosition() || (stored != 0 && stored != mLength)) {
        OxbowExcShortPool().Throw(__FILE__, __LINE__);
    }
}

std::uint64_t OxbowRpm_PoolImpl::Read(std::uint64_t offset, std::uint64_t size,
                                      char* buffer) const {
    return mFile->ReadAt(mStart + mDataOffset + offset, size, buffer);
}

void OxbowRpm_PoolImpl::Write(std::uint64_t offset, std::uint64_t size, const char* data) {
    const std::uint64_t limit = DataLength();
    const std::uint64_t end = OxbowRpm_SaturatedSum(offset, size);
    if (end > limit) {
        OxbowExcIOBounds(offset, end, limit).Throw(__FILE__, __LINE__);
    }
    mFile->WriteAt(mStart + mDataOffset + offset, size, data);
}

OxbowRpm_Locator OxbowRpm_PoolImpl::LocatorAt(std::uint64_t offset) const {
    return OxbowRpm_Locator(mDirectory->Map(), mDirectory->MySlot(), offset);
}

OxbowRpm_Locator OxbowRpm_PoolImpl::Start() const {
    return LocatorAt(0);
}

OxbowRpm_Locator OxbowRpm_PoolImpl::End() const {
    return LocatorAt(DataLength());
}

OxbowRpm_Locator OxbowRpm_PoolImpl::Allocate(std::uint64_t size) {
    if (!CanGrow()) {
        OxbowExcImmutablePool().Throw(__FILE__, __LINE__);
    }
    const std::uint64_t old = DataLength();
    const std::uint64_t greatest = OxbowRpm_Header::kMaxLength - mDataOffset;
    const std::uint64_t end = OxbowRpm_SaturatedSum(old, size);
    if (end > greatest) {
        OxbowExcIOBounds(old, end, greatest).Throw(__FILE__, __LINE__);
    }
    mFile->AllocateUpTo(mStart + mLength + size);
    mLength += size;
    return LocatorAt(old);
}

bool OxbowRpm_PoolImpl::ReadOnly() const {
    return mFile->ReadOnly();
}

std::uint64_t OxbowRpm_PoolImpl::DataLength() const {
    return mLength - mDataOffset;
}

const OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>& OxbowRpm_PoolImpl::Directory() const {
    return mDirectory;
}
