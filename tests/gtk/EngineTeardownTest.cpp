// The engine's own code must run the engine's own copies of the standard library's inline
// functions, never this program's (sanitized, in a sanitizer build) ones. A JavaScript VM torn
// down here releases objects the engine made without type information; run through our copy,
// the sanitizer's vptr check reports them.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <jsc/jsc.h>

#include <memory>
#include <string>

namespace {

void programMarker() {}

struct Counted {
    virtual ~Counted() = default;
};

TEST(EngineTeardown, TheEngineKeepsItsOwnCopiesOfInlineLibraryCode) {
    // This program uses shared pointers too, so it has its own copy of their release path.
    auto mine = std::make_shared<Counted>();
    std::shared_ptr<Counted> other = mine;
    other.reset();
    mine.reset();

    // Whoever the engine's calls bind to: the first definition in the global lookup order.
    const char* release =
        "_ZNSt16_Sp_counted_baseILN9__gnu_cxx12_Lock_policyE2EE24_M_release_last_use_coldEv";
    void* bound = dlsym(RTLD_DEFAULT, release);
    ASSERT_NE(bound, nullptr) << "the engine's libraries no longer export the release path";
    Dl_info where{};
    ASSERT_NE(dladdr(bound, &where), 0);
    Dl_info self{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&programMarker), &self), 0);
    EXPECT_NE(where.dli_fbase, self.dli_fbase)
        << "the engine's calls bind to this program's copy, in " << where.dli_fname;

    // And the teardown itself, which a sanitizer build checks: VMs made, used and destroyed.
    for (int i = 0; i < 8; ++i) {
        JSCContext* context = jsc_context_new();
        JSCValue* value = jsc_context_evaluate(
            context, "var a = []; for (let i = 0; i < 1000; i++) a.push({i}); a.length", -1);
        EXPECT_EQ(jsc_value_to_int32(value), 1000);
        g_object_unref(value);
        g_object_unref(context);
    }
}

}  // namespace
