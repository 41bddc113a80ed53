#ifndef OXBOW_FENNEL_EXCEPTION_H
#define OXBOW_FENNEL_EXCEPTION_H

#include <OxbowPoolManager/base/atr_String.h>
#include <OxbowPoolManager/base/mem_AllocationOperators.h>

#include <cstdint>

/** The root of every exception that the library raises, memory exhaustion (std::bad_alloc) apart.
    It is not derived from std::exception: a host catches `const FennelException&`, or a class of
    the family.

    Ownership: a plain value, copied freely; it owns no heap memory.
    Threads: one object belongs to one thread at a time; copies may live on several.
    Raises: the three reports raise std::bad_alloc, Throw and Propagate the object itself. */
class OXBOW_EXPORT FennelException : public mem_AllocationOperators {
public:
    FennelException() noexcept;
    FennelException(const FennelException&) noexcept = default;
    FennelException& operator=(const FennelException&) noexcept = default;
    virtual ~FennelException();

    /** AsString() with code, source file and line: for a log. */
    virtual atr_String DeveloperReport() const;
    /** What a user of the host can be shown. */
    virtual atr_String UserReport() const;
    /** The class and the arguments that it keeps, in one line. */
    virtual atr_String AsString() const = 0;
    /** Raises a copy of this object as a value of its own class, so that a handler for that class
        gets it; a host can pass a stored exception on with it. */
    [[noreturn]] virtual void Propagate() const = 0;
    /** A number that names the class; it never changes between versions. */
    virtual int GetCode() const = 0;

    /** Notes the place and raises the object through Propagate. `file` must live as long as the
        program. */
    [[noreturn]] void Throw(const char* file, int line);

    /** The place of the raise: a source of the library relative to its source folder, null before.
    */
    const char* File() const noexcept { return mFile; }
    /** The line of that place, 0 before. */
    int Line() const noexcept { return mLine; }

private:
    const char* mFile;
    std::int32_t mLine;
};

#endif
