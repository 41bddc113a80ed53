#ifndef OXBOW_OXBOW_RPM_SLOT_MATRIX_H
#define OXBOW_OXBOW_RPM_SLOT_MATRIX_H

#include <cstddef>
#include <cstdint>

/** A square of cells, each -1 until it is known: for a pool and a target, the target's index
    in the pool's directory. */
class OxbowRpm_SlotMatrix {
public:
    /** Every cell -1. Raises std::bad_alloc. */
    explicit OxbowRpm_SlotMatrix(std::int32_t dimension);
    ~OxbowRpm_SlotMatrix();
    OxbowRpm_SlotMatrix(const OxbowRpm_SlotMatrix&) = delete;
    OxbowRpm_SlotMatrix& operator=(const OxbowRpm_SlotMatrix&) = delete;

    std::int32_t& Cell(std::int32_t row, std::int32_t column) {
        return mCells[IndexOf(row, column)];
    }
    std::int32_t Cell(std::int32_t row, std::int32_t column) const {
        return mCells[IndexOf(row, column)];
    }
    /** Takes over the cells that both have. */
    void CopyFrom(const OxbowRpm_SlotMatrix& other);
    void Swap(OxbowRpm_SlotMatrix& other);

private:
    std::size_t IndexOf(std::int32_t row, std::int32_t column) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(mDimension) +
               static_cast<std::size_t>(column);
    }

    std::int32_t mDimension;
    std::int32_t* mCells;
};

#endif
