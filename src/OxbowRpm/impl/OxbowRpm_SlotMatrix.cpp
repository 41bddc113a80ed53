#include "OxbowRpm/impl/OxbowRpm_SlotMatrix.h"

#include <OxbowPoolManager/base/mem_Functions.h>

#include <algorithm>
#include <cstring>
#include <utility>

/** All bytes 0xFF make every cell -1. */
OxbowRpm_SlotMatrix::OxbowRpm_SlotMatrix(std::int32_t dimension)
    : mDimension(dimension), mCells(nullptr) {
    if (dimension < 1) {
        return;
    }
    const std::size_t bytes = IndexOf(dimension, 0) * sizeof(std::int32_t);
    mCells = static_cast<std::int32_t*>(mem_OperatorNewThrowBuiltin(bytes));
    std::memset(mCells, 0xFF, bytes);
}

OxbowRpm_SlotMatrix::~OxbowRpm_SlotMatrix() {
    mem_Free(mCells);
    mCells = nullptr;
}

void OxbowRpm_SlotMatrix::CopyFrom(const OxbowRpm_SlotMatrix& other) {
    const std::int32_t common = std::min(mDimension, other.mDimension);
    for (std::int32_t row = 0; row < common; ++row) {
        std::copy_n(&other.mCells[other.IndexOf(row, 0)], common, &mCells[IndexOf(row, 0)]);
    }
}

void OxbowRpm_SlotMatrix::Swap(OxbowRpm_SlotMatrix& other) {
    std::swap(mDimension, other.mDimension);
    std::swap(mCells, other.mCells);
}
