// Each command of kvadmin.exe while the provider fails one call at a time, every call it makes:
// the failure ends with its error text and the command's exit code for it, the link repair
// writes nothing it has not verified, and no provider context, key or hash is left alive.
#include "admin_run.h"
#include "fixtures.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <set>

namespace {

using namespace admintest;

// A card pulled out mid-operation: no step of the commands produces it by itself.
const DWORD kRemoved = static_cast<DWORD>(SCARD_W_REMOVED_CARD);

// The error a failure shows: the provider's, or the one crypt32 puts in its place when the
// provider fails inside CryptExportPublicKeyInfo (Wine's gives 87 or none at all).
bool ShowsError(const Outcome& run) {
    return run.Names(kRemoved) || run.Names(ERROR_INVALID_PARAMETER) || run.Names(0);
}

// Failing these only loses a handle the command was done with.
bool Release(const std::string& entry) {
    return entry == "CPReleaseContext" || entry == "CPDestroyKey" || entry == "CPDestroyHash";
}

struct Command {
    std::string name;
    std::vector<std::wstring> arguments;
    std::function<void()> prepare;  // before each run, uncounted
    // What a run with `entry`'s call failing must show.
    std::function<void(const Outcome&, const std::string& entry)> judge;
};

void Sweep(const Command& command) {
    if (command.prepare) command.prepare();
    const Outcome clean = RunAdmin(command.arguments);
    ASSERT_EQ(0u, clean.exitCode) << command.name << ": the run without failures\n" << clean.err;
    // An entry point counted with its parameter is swept one parameter at a time.
    std::map<std::string, long> calls = clean.calls;
    for (auto it = calls.begin(); it != calls.end();) {
        auto next = std::next(it);
        it = next != calls.end() && next->first.rfind(it->first + ".", 0) == 0 ? calls.erase(it)
                                                                               : next;
    }
    ASSERT_FALSE(calls.empty());
    int runs = 0;
    long total = 0;
    for (const auto& [entry, count] : calls) {
        total += count;
        for (long call = 1; call <= count; ++call) {
            SCOPED_TRACE(command.name + ": " + entry + " call " + std::to_string(call));
            if (command.prepare) command.prepare();
            Failure failure(entry, static_cast<DWORD>(call), kRemoved);
            const Outcome run = RunAdmin(command.arguments);
            ++runs;
            EXPECT_TRUE(failure.Fired()) << "the clean run made " << count << " calls";
            EXPECT_EQ(0, run.contexts + run.keys + run.hashes)
                << run.contexts << " contexts, " << run.keys << " keys, " << run.hashes
                << " hashes left alive";
            command.judge(run, entry);
            if (::testing::Test::HasFailure() && runs > 40) return;
        }
    }
    std::printf(
        "[  SWEEP   ] kvadmin %s: %d injected failures (%zu entry points), live contexts, "
        "keys and hashes 0 after each\n",
        command.name.c_str(), runs, calls.size());
    std::fflush(stdout);
    EXPECT_EQ(total, runs);
}

TEST(KvadminSweep, EveryProviderFailureOfEachCommand) {
    fixtures::ContainerSpec spec;
    spec.name = L"kvadmin-sweep";
    spec.provider = kProvider;
    spec.type = kType;
    spec.chain = true;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec));

    // The check: the container opens or the run ends with exit code 2; inside the check a
    // failure is a row with its error (exit code 1), or one the wizard's report passes over.
    const std::set<std::string> counted = {
        "CPExportKey",        "CPImportKey",        "CPCreateHash",      "CPHashData",
        "CPSignHash",         "CPVerifySignature",  "CPGetProvParam.6",  "CPGetProvParam.36",
        "CPGetProvParam.111", "CPGetProvParam.146", "CPGetProvParam.109"};
    Sweep({"check",
           {L"check", spec.name, L"--provider", kProvider, L"--json"},
           nullptr,
           [&](const Outcome& run, const std::string& entry) {
               if (entry == "CPAcquireContext") {
                   EXPECT_EQ(2u, run.exitCode);
                   EXPECT_EQ("", run.out);
                   EXPECT_TRUE(run.Names(kRemoved)) << run.err;
                   return;
               }
               EXPECT_EQ(counted.count(entry) ? 1u : run.exitCode, run.exitCode);
               ASSERT_LE(run.exitCode, 1u) << run.err;
               EXPECT_EQ(run.exitCode == 0, run.Json()["summary"]["passed"]);
               if (run.exitCode == 1) {
                   EXPECT_TRUE(ShowsError(run)) << run.out;
               }
           }});

    // The list: every failure but a release lists its container (or provider) with the error.
    ForgetAllLinked();
    spec.machine = true;
    spec.chain = false;
    spec.name = L"kvadmin-sweep-key";
    fixtures::Made made;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec, &made));
    Sweep({"list",
           {L"list", L"--machine", L"--provider", kProvider, L"--json"},
           nullptr,
           [](const Outcome& run, const std::string& entry) {
               EXPECT_EQ(Release(entry) ? 0u : 1u, run.exitCode) << run.err;
               EXPECT_TRUE(run.Json()["results"].is_array());
               if (!Release(entry)) {
                   EXPECT_TRUE(run.Names(kRemoved)) << run.out;
               }
           }});

    // The repair of a link to a container that has gone: relinked (0), not found by a search
    // that passes over what it can't open (1), or an error (2); only the first writes.
    const std::vector<BYTE>& certificate = made.certificates[1];
    Sweep({"links --repair",
           {L"links", L"--machine", L"--provider", kProvider, L"--repair", L"--json"},
           [&] { PutLinked(certificate, L"kvadmin-sweep-gone", AT_SIGNATURE); },
           [&](const Outcome& run, const std::string& entry) {
               const std::wstring linked = LinkedContainer(certificate);
               if (entry == "CPReleaseContext") {
                   EXPECT_EQ(0u, run.exitCode);
               }
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
           }});
    Forget(certificate);
    fixtures::DeleteContainer(kProvider, kType, true, L"kvadmin-sweep-key");
    fixtures::DeleteContainer(kProvider, kType, false, L"kvadmin-sweep");
}

}  // namespace
