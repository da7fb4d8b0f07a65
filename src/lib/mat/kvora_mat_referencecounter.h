// The counted share of an array body. Count cells come from a free list, so
// that copying handles around (every assignment costs a count) does not go to
// the allocator each time; a cell whose count fell below 1 goes back on the
// list. The counter does not know the body: the handle destroys it when drop()
// answers that this was the last share. One thread per process, so the list
// needs no lock.
#pragma once

#include <cstdint>

class BASE_GEC_ReferenceCounter {
public:
    BASE_GEC_ReferenceCounter() : ivCell(nullptr) {}
    BASE_GEC_ReferenceCounter(const BASE_GEC_ReferenceCounter &) = delete;
    BASE_GEC_ReferenceCounter &operator=(const BASE_GEC_ReferenceCounter &) = delete;
    ~BASE_GEC_ReferenceCounter() { drop(); }

    // A new count of 1 on a cell of the free list (or a fresh one).
    void start() {
        drop();
        Cell *cell = cvFreeList;
        if (cell != nullptr) {
            cvFreeList = cell->next;
            --cvFreeCount;
        } else {
            cell = new Cell;
        }
        cell->count = 1;
        cell->next = nullptr;
        ivCell = cell;
    }

    // Takes a share of another counter's cell (dropping any held before).
    void share(const BASE_GEC_ReferenceCounter &other) {
        if (other.ivCell == ivCell) return;
        drop();
        ivCell = other.ivCell;
        if (ivCell != nullptr) ++ivCell->count;
    }

    // Moves the share of another counter here, leaving it without one.
    void takeFrom(BASE_GEC_ReferenceCounter &other) {
        if (&other == this) return;
        drop();
        ivCell = other.ivCell;
        other.ivCell = nullptr;
    }

    // Gives up the share. Answers true when the count fell below 1: the caller
    // then destroys the body, and the cell is back on the free list.
    bool drop() {
        Cell *cell = ivCell;
        if (cell == nullptr) return false;
        ivCell = nullptr;
        if (--cell->count >= 1) return false;
        cell->next = cvFreeList;
        cvFreeList = cell;
        ++cvFreeCount;
        return true;
    }

    int32_t count() const { return ivCell != nullptr ? ivCell->count : 0; }
    bool holdsCell() const { return ivCell != nullptr; }

    static uint64_t freeCells() { return cvFreeCount; }

private:
    struct Cell {
        int32_t count;
        Cell *next;
    };
    Cell *ivCell;

    inline static Cell *cvFreeList = nullptr;
    inline static uint64_t cvFreeCount = 0;
};
