// The reader, RNG, crypt and CNG libraries: their windows, reader enumeration through the
// support library, and what they record for tests.
#include "client.h"

#include "driver/driver.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <vector>

namespace {

namespace knobs = testbed::knobs;

// Puts readers into the knobs for the scope's lifetime.
class ScopedReaders {
public:
    struct Reader {
        std::wstring nickname;
        std::optional<std::wstring> connect;
        std::optional<std::wstring> name;
    };
    explicit ScopedReaders(const std::vector<Reader>& readers) {
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, knobs::kReaders);
        for (const auto& reader : readers) {
            std::wstring key = std::wstring(knobs::kReaders) + L"\\" + reader.nickname;
            EXPECT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr,
                                                       REG_SZ, L"", sizeof(wchar_t)));
            Set(key, knobs::kConnect, reader.connect);
            Set(key, knobs::kDisplayName, reader.name);
        }
    }
    ~ScopedReaders() { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, knobs::kReaders); }

private:
    static void Set(const std::wstring& key, const wchar_t* name,
                    const std::optional<std::wstring>& value) {
        if (!value) return;
        EXPECT_EQ(ERROR_SUCCESS,
                  ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, value->c_str(),
                                    static_cast<DWORD>((value->size() + 1) * sizeof(wchar_t))));
    }
};

// One of a reader's names through the in/out length protocol, or "<error N>".
template <class F>
std::wstring Name(F function, SUPSYS_CONTEXT reader) {
    wchar_t buffer[65] = {};
    DWORD length = 64;
    DWORD error = function(reader, &length, buffer);
    return error == ERROR_SUCCESS ? std::wstring(buffer, length)
                                  : L"<error " + std::to_wstring(error) + L">";
}

TEST(Readers, AreListedThroughTheReaderLibrarysRegistration) {
    ScopedReaders present({{L"FAT12", L"A:", L"Floppy drive A:"},
                           {L"REGISTRY", std::nullopt, L"Registry"},
                           {L"HDIMAGE", L"", std::nullopt}});
    testbed::Library rdr(L"kvrdr.dll");
    auto rdr_register_start = rdr.Bind<decltype(&::rdr_register_start)>("rdr_register_start");
    testbed::Support s;
    ASSERT_TRUE(rdr_register_start && s.supsys_register_all);

    SUPSYS_CONTEXT registration = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, rdr_register_start(&registration));
    ASSERT_EQ(ERROR_SUCCESS, s.supsys_register_all(registration));
    SUPSYS_FIND find = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, s.supsys_find_open(registration, &find));

    // nickname -> connect name | display name
    std::map<std::wstring, std::wstring> listed;
    SUPSYS_CONTEXT reader = nullptr;
    DWORD error;
    while ((error = s.supsys_find_next(find, &reader)) == ERROR_SUCCESS) {
        listed[Name(s.supsys_nickname, reader)] =
            Name(s.supsys_connect_current, reader) + L"|" + Name(s.supsys_register_name, reader);
        EXPECT_EQ(ERROR_SUCCESS, s.supsys_context_free(reader));
    }
    EXPECT_EQ(static_cast<DWORD>(ERROR_NO_MORE_ITEMS), error);
    EXPECT_EQ(ERROR_SUCCESS, s.supsys_find_close(find));
    EXPECT_EQ(ERROR_SUCCESS, s.supsys_unregister_all(registration, TRUE));

    EXPECT_EQ((std::map<std::wstring, std::wstring>{
                  {L"FAT12", L"A:|Floppy drive A:"},
                  {L"REGISTRY", L"|Registry"},
                  {L"HDIMAGE", L"|<error " + std::to_wstring(ERROR_FILE_NOT_FOUND) + L">"}}),
              listed);
}

class Windows : public ::testing::Test {
protected:
    void SetUp() override {
        parent_ =
            ::CreateWindowExW(0, L"STATIC", L"Testbed parent", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0,
                              0, 300, 200, nullptr, nullptr, nullptr, nullptr);
        ASSERT_NE(nullptr, parent_);
    }
    void TearDown() override { ::DestroyWindow(parent_); }

    // Runs `open` and expects a modal window titled `title`, owned by the parent, which the
    // script closes; returns what `open` returned.
    DWORD ExpectModalWindow(const std::function<DWORD()>& open, const wchar_t* title) {
        return static_cast<DWORD>(driver::RunModal(
            [&] { return static_cast<INT_PTR>(open()); },
            [&] {
                HWND window = driver::WaitForWindow({L"#32770", title, parent_, true});
                EXPECT_FALSE(::IsWindowEnabled(parent_)) << "the window is not modal";
                driver::Click(window, IDCANCEL);
                driver::WaitUntilGone(window);
            }));
    }

    HWND parent_ = nullptr;
};

TEST_F(Windows, ReaderCarrierAndRngWindowsAreModalAndCounted) {
    testbed::Library rdr(L"kvrdr.dll");
    testbed::Library rndm(L"kvrndm.dll");
    auto readers = rdr.Bind<decltype(&::rdr_wnd_configure)>("rdr_wnd_configure");
    auto carriers = rdr.Bind<decltype(&::rdr_media_wnd_configure)>("rdr_media_wnd_configure");
    auto rng = rndm.Bind<decltype(&::rndm_wnd_configure)>("rndm_wnd_configure");
    ASSERT_TRUE(readers && carriers && rng);

    DWORD readers_before = testbed::CallCount(knobs::kCallReaders);
    DWORD carriers_before = testbed::CallCount(knobs::kCallCarriers);
    DWORD rng_before = testbed::CallCount(knobs::kCallRng);
    RDR_WND_REQUEST request{sizeof(RDR_WND_REQUEST), parent_};
    EXPECT_EQ(16u, request.size);

    EXPECT_EQ(ERROR_SUCCESS,
              ExpectModalWindow([&] { return readers(&request); }, knobs::kTitleReaders));
    EXPECT_EQ(ERROR_SUCCESS,
              ExpectModalWindow([&] { return carriers(&request); }, knobs::kTitleCarriers));
    EXPECT_EQ(ERROR_SUCCESS, ExpectModalWindow([&] { return rng(parent_); }, knobs::kTitleRng));

    EXPECT_EQ(readers_before + 1, testbed::CallCount(knobs::kCallReaders));
    EXPECT_EQ(carriers_before + 1, testbed::CallCount(knobs::kCallCarriers));
    EXPECT_EQ(rng_before + 1, testbed::CallCount(knobs::kCallRng));
}

TEST(Cng, RegistrationAnswersWhatTheKnobsSayAndIsCounted) {
    testbed::Library cng(L"kvcng.dll");
    using Entry = HRESULT(WINAPI*)();
    auto register_server = cng.Bind<Entry>("DllRegisterServer");
    auto unregister_server = cng.Bind<Entry>("DllUnregisterServer");
    ASSERT_TRUE(register_server && unregister_server);

    DWORD registered = testbed::CallCount(knobs::kCallCngRegister);
    DWORD unregistered = testbed::CallCount(knobs::kCallCngUnregister);
    EXPECT_EQ(S_OK, unregister_server());
    EXPECT_EQ(S_OK, register_server());
    {
        testbed::ScopedKnob fail(knobs::kRoot, knobs::kCngUnregisterResult,
                                 static_cast<DWORD>(E_ACCESSDENIED));
        EXPECT_EQ(E_ACCESSDENIED, unregister_server());
        EXPECT_EQ(S_OK, register_server());
    }
    EXPECT_EQ(registered + 2, testbed::CallCount(knobs::kCallCngRegister));
    EXPECT_EQ(unregistered + 2, testbed::CallCount(knobs::kCallCngUnregister));
}

TEST(Crypt, ThreadDefaultProviderIsRecorded) {
    testbed::Library crypt(L"kvcrypt.dll");
    auto set_default =
        crypt.Bind<decltype(&::SetThreadDefaultCryptProv)>("SetThreadDefaultCryptProv");
    ASSERT_TRUE(set_default);

    auto recorded = [] {
        ULONGLONG value = ~0ull;
        DWORD size = sizeof(value);
        ::RegGetValueW(HKEY_LOCAL_MACHINE, knobs::kRoot, knobs::kThreadDefaultProv,
                       RRF_RT_REG_QWORD, nullptr, &value, &size);
        return value;
    };
    DWORD calls = testbed::CallCount(knobs::kCallThreadDefaultProv);
    EXPECT_TRUE(set_default(0x1234));
    EXPECT_EQ(0x1234u, recorded());
    EXPECT_TRUE(set_default(0));
    EXPECT_EQ(0u, recorded());
    EXPECT_EQ(calls + 2, testbed::CallCount(knobs::kCallThreadDefaultProv));
}

}  // namespace
