// Each command of kvadmin.exe with each provider call it makes failing in turn: its error text
// and exit code, no unverified link written, no provider context, key or hash left alive.
#include "admin_run.h"
#include "testbed/knobs.h"

#include <cstdio>
#include <functional>

namespace {

using namespace admintest;
namespace knobs = testbed::knobs;

// A card pulled out mid-operation: no step of the commands produces it by itself.
const DWORD kRemoved = static_cast<DWORD>(SCARD_W_REMOVED_CARD);

// The provider's error, or crypt32's in its place from CryptExportPublicKeyInfo (Wine: 87 or 0).
bool ShowsError(const Outcome& run) {
    return run.Names(kRemoved) || run.Names(ERROR_INVALID_PARAMETER) || run.Names(0);
}

// `arguments` run clean (exit 0), then once per provider call of that run, failing it.
void Sweep(
    const std::string& name, const std::vector<std::wstring>& arguments,
    const std::function<void(const Outcome&, const std::string& entry)>& judge,
    const std::function<void()>& prepare = [] {}) {
    prepare();
    const Outcome clean = RunAdmin(arguments);
    ASSERT_EQ(0u, clean.exitCode) << name << ": the run without failures\n" << clean.err;
    long runs = 0, points = 0;
    for (const auto& [entry, count] : clean.calls) {
        // An entry point counted with its parameter is swept one parameter at a time.
        const auto next = clean.calls.upper_bound(entry);
        if (next != clean.calls.end() && next->first.rfind(entry + ".", 0) == 0) continue;
        ++points;
        for (long call = 1; call <= count; ++call, ++runs) {
            SCOPED_TRACE(name + ": " + entry + " call " + std::to_string(call));
            prepare();
            const std::wstring knob =
                knobs::kFail + (L"\\" + std::wstring(entry.begin(), entry.end()));
            for (const auto& [value, data] :
                 {std::pair{knobs::kFailCall, DWORD(call)}, std::pair{knobs::kFailError, kRemoved}})
                ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knob.c_str(), value, REG_DWORD, &data, 4);
            const Outcome run = RunAdmin(arguments);
            // The provider takes the knob away when it fails the call.
            EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, knob.c_str()))
                << "the clean run made " << count << " calls";
            EXPECT_EQ(std::vector<LONG>(3), std::vector<LONG>(run.live, run.live + 3))
                << "contexts, keys, hashes alive";
            judge(run, entry);
            if (::testing::Test::HasFailure() && runs > 40) return;
        }
    }
    std::printf("[  SWEEP   ] kvadmin %s: %ld failures of %ld entry points, nothing left alive\n",
                name.c_str(), runs, points);
}

TEST(KvadminSweep, EveryProviderFailureOfEachCommand) {
    Containers user{false}, machine{true};
    user.Make(L"kvadmin-sweep", false, true);

    // The check: the container opens or the run ends with exit code 2; inside the check a
    // failure is a row with its error (exit code 1), or one the wizard's report passes over.
    Sweep("check", {L"check", L"kvadmin-sweep", L"--provider", kProvider, L"--json"},
          [&](const Outcome& run, const std::string& entry) {
              if (entry == "CPAcquireContext") {
                  EXPECT_TRUE(run.exitCode == 2 && run.out.empty() && run.Names(kRemoved))
                      << run.exitCode << "\n"
                      << run.out << run.err;
                  return;
              }
              ASSERT_LE(run.exitCode, 1u) << run.err;
              EXPECT_EQ(run.exitCode == 0, run.Json()["summary"]["passed"]);
              EXPECT_TRUE(run.exitCode == 0 || ShowsError(run)) << run.out;
          });

    // The list: every failure but a release lists its container (or provider) with the error.
    ForgetAllLinked();
    const std::vector<BYTE> certificate = machine.Make(L"kvadmin-sweep-key").certificates[1];
    Sweep("list", {L"list", L"--machine", L"--provider", kProvider, L"--json"},
          [](const Outcome& run, const std::string& entry) {
              // Failing these only loses a handle the command was done with.
              const bool release = entry == "CPReleaseContext" || entry == "CPDestroyKey" ||
                                   entry == "CPDestroyHash";
              EXPECT_EQ(release ? 0u : 1u, run.exitCode) << run.err;
              EXPECT_TRUE(release || run.Names(kRemoved)) << run.out;
          });

    // The repair of a link to a container that has gone: relinked (0), not found by a search
    // that passes over what it can't open (1), or an error (2); only the first writes.
    Sweep(
        "links --repair",
        {L"links", L"--machine", L"--provider", kProvider, L"--repair", L"--json"},
        [&](const Outcome& run, const std::string& entry) {
            const std::wstring linked = LinkedContainer(certificate);
            EXPECT_TRUE(entry != "CPReleaseContext" || run.exitCode == 0);
            if (run.exitCode == 0) {
                EXPECT_NE(L"kvadmin-sweep-gone", linked);
                EXPECT_EQ(run.Json()["results"][0]["repair"]["link"]["container"], Utf8(linked));
                return;
            }
            EXPECT_EQ(L"kvadmin-sweep-gone", linked) << "a link written that did not hold";
            ASSERT_LE(run.exitCode, 2u);
            if (run.exitCode == 1)
                EXPECT_EQ("not_found", run.Json()["results"][0]["repair"]["action"]);
            else
                EXPECT_TRUE(ShowsError(run)) << run.out;
        },
        [&] { PutLinked(certificate, L"kvadmin-sweep-gone", AT_SIGNATURE); });
    ForgetAllLinked();
}

}  // namespace
