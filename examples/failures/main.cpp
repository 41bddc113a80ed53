// How a host catches what the library raises: each failure by its own class, or any by the root of the
// family, which is no std::exception. A failure can also be kept and raised again later.
#include <OxbowPoolManager/OxbowPoolManager.h>
#include <cinttypes>
#include <cstdio>
#include <exception>

// One line for each failure, with what its class keeps.
static void Explain(const std::exception_ptr& failure) try {
    std::rethrow_exception(failure);
} catch (const OxbowExcNoSuchFile& e) {
    std::printf("OxbowExcNoSuchFile: %s\n", e.FileName().Text());
} catch (const OxbowExcUserSigMismatch&) {
    std::puts("OxbowExcUserSigMismatch");
} catch (const OxbowExcImmutablePool&) {
    std::puts("OxbowExcImmutablePool");
} catch (const OxbowExcIOBounds& e) {
    std::printf("OxbowExcIOBounds: the data ends at %" PRIu64 "\n", e.Limit());
} catch (const OxbowExcSystemError& e) {
    std::printf("OxbowExcSystemError: %s\n", e.ServiceName().Text());
} catch (const FennelException& e) {  // all others
    std::printf("FennelException: %s\n", e.UserReport().View().data());
}

// Runs what is to fail. The pointer keeps the failure beyond its handler.
template <class Action>
static void Try(Action action) try {
    action();
} catch (const FennelException&) {
    Explain(std::current_exception());
}

static void Run() {
    OxbowRpm_Document document("demo");
    OxbowRpm_Document other("else");
    OxbowRpm_File file = document.AddFile("failures.oxb", OxbowRpm_Document::AccessCreate);
    OxbowRpm_Pool sealed = file.Pool();
    const OxbowRpm_Locator place = sealed.Allocate(4);
    place.Write(4, "four");
    file.NewPool();  // seals the pool before it
    Try([&] { document.AddFile("missing.oxb", OxbowRpm_Document::AccessUpdate); });
    Try([&] { document.AddFile(".", OxbowRpm_Document::AccessUpdate); });
    Try([&] { other.AddFile("failures.oxb", OxbowRpm_Document::AccessReadOnly); });
    Try([&] { sealed.Allocate(1); });
    Try([&] { place.Write(5, "fiver"); });
    Try([&] { other.Close(file); });
    try {  // what is known by its root alone goes on as its own class
        sealed.Allocate(1);
    } catch (const FennelException& e) {
        Try([&] { e.Propagate(); });
    }
}

int main() {
    int modules = 0;
    OxbowPoolManager_initialize(modules);
    Run();
    OxbowPoolManager_finalize(modules);
}
