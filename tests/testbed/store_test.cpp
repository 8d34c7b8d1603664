// The configuration store of kvsuprt.dll, reached as the applet reaches it.
#include "client.h"

#include "driver/driver.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace {

using testbed::knobs::kAccess;
using testbed::knobs::kRead;
using testbed::knobs::kRemove;
using testbed::knobs::kWrite;

const auto kNotFound = static_cast<DWORD>(ERROR_FILE_NOT_FOUND);
const auto kDenied = static_cast<DWORD>(ERROR_ACCESS_DENIED);
const auto kWrongType = static_cast<DWORD>(ERROR_INVALID_DATATYPE);

class Store : public ::testing::Test {
protected:
    // Each test works below these sections only and removes them on both ends.
    const std::vector<std::wstring> sections_ = {
        L"\\config\\TestbedStore", L"\\global\\TestbedStore", L"\\local\\TestbedStore",
        L"\\cryptography\\TestbedStore"};

    void SetUp() override { Clean(); }
    void TearDown() override { Clean(); }
    void Clean() {
        for (const auto& section : sections_) s.support_registry_delete_section(section.c_str(), 0);
    }

    // The rights granted of those asked; all bits set when the check itself fails.
    DWORD Rights(const wchar_t* path, DWORD asked) {
        DWORD error = s.support_registry_check_access(path, &asked);
        return error == ERROR_SUCCESS ? asked : ~DWORD{0};
    }

    testbed::Support s;
};

TEST_F(Store, TextsNumbersAndFlagsRoundTripInEveryScope) {
    for (const auto& section : sections_) {
        SCOPED_TRACE(driver::Narrow(section));
        std::wstring text = section + L"\\Deeper\\Text";
        std::wstring number = section + L"\\Number";
        std::wstring flag = section + L"\\Flag";

        // A write creates the sections on its way.
        ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_string(text.c_str(), L"Ридер A:"));
        std::wstring read;
        EXPECT_EQ(ERROR_SUCCESS, s.GetString(text, read));
        EXPECT_EQ(L"Ридер A:", read);

        ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(number.c_str(), 0xFFFFFFFF));
        DWORD value = 0;
        EXPECT_EQ(ERROR_SUCCESS, s.support_registry_get_long(number.c_str(), &value));
        EXPECT_EQ(0xFFFFFFFFu, value);

        ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_bool(flag.c_str(), TRUE));
        BOOL set = FALSE;
        EXPECT_EQ(ERROR_SUCCESS, s.support_registry_get_bool(flag.c_str(), &set));
        EXPECT_TRUE(set);
        ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_bool(flag.c_str(), FALSE));
        EXPECT_EQ(ERROR_SUCCESS, s.support_registry_get_bool(flag.c_str(), &set));
        EXPECT_FALSE(set);

        // A parameter read as the wrong type is an error, not a default.
        EXPECT_EQ(kWrongType, s.support_registry_get_long(text.c_str(), &value));
        DWORD length = 0;
        EXPECT_EQ(kWrongType, s.support_registry_get_string(number.c_str(), &length, nullptr));
    }
}

TEST_F(Store, TextLengthsFollowTheInOutProtocol) {
    const wchar_t* path = L"\\config\\TestbedStore\\Name";
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_string(path, L"Kelvane"));

    DWORD length = 0;
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_get_string(path, &length, nullptr));
    EXPECT_EQ(7u, length);

    wchar_t buffer[8] = L"xxxxxxx";
    length = 6;  // one character short
    EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA),
              s.support_registry_get_string(path, &length, buffer));
    EXPECT_EQ(7u, length);
    EXPECT_STREQ(L"xxxxxxx", buffer);

    length = 7;  // the text exactly, the terminating NUL besides
    EXPECT_EQ(ERROR_SUCCESS, s.support_registry_get_string(path, &length, buffer));
    EXPECT_EQ(7u, length);
    EXPECT_STREQ(L"Kelvane", buffer);
}

TEST_F(Store, MissingValuesSectionsAndScopesAreErrors) {
    DWORD value = 0;
    std::wstring text;
    BOOL flag = FALSE;
    SUPPORT_VALUE found = nullptr;
    EXPECT_EQ(kNotFound, s.support_registry_get_long(L"\\config\\TestbedStore\\None", &value));
    EXPECT_EQ(kNotFound, s.GetString(L"\\local\\TestbedStore\\A\\B\\None", text));
    EXPECT_EQ(kNotFound, s.support_registry_get_bool(L"\\global\\TestbedStore\\None", &flag));
    EXPECT_EQ(kNotFound, s.support_registry_find(L"\\config\\TestbedStore\\None", &found));
    EXPECT_EQ(kNotFound, s.support_registry_delete_param(L"\\config\\TestbedStore\\None"));
    EXPECT_EQ(kNotFound, s.support_registry_delete_section(L"\\config\\TestbedStore\\None", 0));
    EXPECT_EQ(nullptr, found);

    const auto invalid = static_cast<DWORD>(ERROR_INVALID_PARAMETER);
    EXPECT_EQ(invalid, s.support_registry_put_long(L"\\machine\\TestbedStore\\X", 1));
    EXPECT_EQ(invalid, s.support_registry_put_long(L"config\\TestbedStore\\X", 1));
    EXPECT_EQ(invalid, s.support_registry_put_long(L"\\config\\\\X", 1));

    // A section is asked about only once it exists; the scopes always do.
    EXPECT_EQ(~DWORD{0}, Rights(L"\\local\\TestbedStore\\KeyDevices", kWrite));
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_section(L"\\local\\TestbedStore\\KeyDevices"));
    EXPECT_EQ(kWrite, Rights(L"\\local\\TestbedStore\\KeyDevices", kWrite));
    EXPECT_EQ(kWrite, Rights(L"\\local", kWrite));
    EXPECT_EQ(kWrite | kRemove, Rights(L"\\CONFIG", kWrite | kRemove));
}

TEST_F(Store, DeletionRemovesParametersAndWholeSections) {
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\global\\TestbedStore\\Keep", 1));
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\global\\TestbedStore\\Drop", 2));
    ASSERT_EQ(ERROR_SUCCESS,
              s.support_registry_put_long(L"\\global\\TestbedStore\\Passwords\\Card\\pin", 3));

    DWORD value = 0;
    EXPECT_EQ(ERROR_SUCCESS, s.support_registry_delete_param(L"\\global\\TestbedStore\\Drop"));
    EXPECT_EQ(kNotFound, s.support_registry_get_long(L"\\global\\TestbedStore\\Drop", &value));
    EXPECT_EQ(ERROR_SUCCESS, s.support_registry_get_long(L"\\global\\TestbedStore\\Keep", &value));

    // A section goes with everything in it; its parent stays.
    EXPECT_EQ(ERROR_SUCCESS,
              s.support_registry_delete_section(L"\\global\\TestbedStore\\Passwords", 0));
    EXPECT_EQ(kNotFound,
              s.support_registry_get_long(L"\\global\\TestbedStore\\Passwords\\Card\\pin", &value));
    SUPPORT_SEARCH search = nullptr;
    EXPECT_EQ(kNotFound,
              s.support_registry_search_open(L"\\global\\TestbedStore\\Passwords", &search));
    EXPECT_EQ(ERROR_SUCCESS, s.support_registry_get_long(L"\\global\\TestbedStore\\Keep", &value));

    // A parameter is not a section, a section not a parameter, and a scope stays.
    EXPECT_EQ(kNotFound, s.support_registry_delete_section(L"\\global\\TestbedStore\\Keep", 0));
    EXPECT_EQ(kWrongType, s.support_registry_delete_param(L"\\global\\TestbedStore"));
    EXPECT_EQ(kDenied, s.support_registry_delete_section(L"\\global", 0));
}

// What a search over a section hands out, by name: the number, or the error of reading one.
std::map<std::wstring, DWORD> SearchSection(const testbed::Support& s, const wchar_t* path,
                                            DWORD& error) {
    std::map<std::wstring, DWORD> entries;
    SUPPORT_SEARCH search = nullptr;
    error = s.support_registry_search_open(path, &search);
    if (error != ERROR_SUCCESS) return entries;
    SUPPORT_VALUE value = nullptr;
    while ((error = s.support_registry_search_next(search, &value)) == ERROR_SUCCESS) {
        DWORD length = 0;
        EXPECT_EQ(ERROR_SUCCESS, s.support_registry_value_name(value, &length, nullptr));
        std::vector<wchar_t> name(length + 1);
        EXPECT_EQ(ERROR_SUCCESS, s.support_registry_value_name(value, &length, name.data()));
        DWORD number = 0;
        DWORD read = s.support_registry_value_long(value, &number);
        entries[name.data()] = read == ERROR_SUCCESS ? number : read;
        s.support_registry_value_free(value);
    }
    s.support_registry_search_close(search);
    return entries;
}

TEST_F(Store, SearchListsSubsectionsAndParameters) {
    const wchar_t* section = L"\\local\\TestbedStore\\passwords";
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_string(
                                 L"\\local\\TestbedStore\\passwords\\Saved\\pin", L"1234"));
    ASSERT_EQ(ERROR_SUCCESS,
              s.support_registry_put_section(L"\\local\\TestbedStore\\passwords\\Media"));
    ASSERT_EQ(ERROR_SUCCESS,
              s.support_registry_put_long(L"\\local\\TestbedStore\\passwords\\n", 7));
    ASSERT_EQ(ERROR_SUCCESS,
              s.support_registry_put_string(L"\\local\\TestbedStore\\passwords\\t", L"text"));

    DWORD error = 0;
    auto entries = SearchSection(s, section, error);
    EXPECT_EQ(static_cast<DWORD>(ERROR_NO_MORE_ITEMS), error);
    EXPECT_EQ((std::map<std::wstring, DWORD>{
                  {L"Saved", kWrongType}, {L"Media", kWrongType}, {L"n", 7}, {L"t", kWrongType}}),
              entries);

    // A subsection without entries of its own: its search ends at once.
    entries = SearchSection(s, L"\\local\\TestbedStore\\passwords\\Media", error);
    EXPECT_TRUE(entries.empty());
    EXPECT_EQ(static_cast<DWORD>(ERROR_NO_MORE_ITEMS), error);
    entries = SearchSection(s, L"\\local\\TestbedStore\\passwords\\Saved", error);
    EXPECT_EQ(1u, entries.size());

    // One parameter as a value object.
    SUPPORT_VALUE value = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              s.support_registry_find(L"\\local\\TestbedStore\\passwords\\n", &value));
    DWORD number = 0;
    EXPECT_EQ(ERROR_SUCCESS, s.support_registry_value_long(value, &number));
    EXPECT_EQ(7u, number);
    s.support_registry_value_free(value);
}

TEST_F(Store, KnobsDenyAccessPerPath) {
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\config\\TestbedStore\\Locked\\n", 1));
    ASSERT_EQ(ERROR_SUCCESS,
              s.support_registry_put_long(L"\\config\\TestbedStore\\Locked\\Open\\n", 1));
    EXPECT_EQ(kWrite | kRemove, Rights(L"\\config\\TestbedStore\\Locked", kWrite | kRemove));

    {
        // Read-only, for the section and what lies below it...
        testbed::ScopedKnob read_only(kAccess, L"\\config\\TestbedStore\\Locked", kRead);
        // ... except where a deeper path says otherwise.
        testbed::ScopedKnob open(kAccess, L"\\config\\TestbedStore\\Locked\\Open", kRead | kWrite);

        EXPECT_EQ(0u, Rights(L"\\config\\TestbedStore\\Locked", kWrite | kRemove));
        EXPECT_EQ(0u, Rights(L"\\config\\TestbedStore\\Locked\\n", kWrite));
        EXPECT_EQ(kDenied, s.support_registry_put_long(L"\\config\\TestbedStore\\Locked\\n", 2));
        EXPECT_EQ(kDenied, s.support_registry_put_section(L"\\config\\TestbedStore\\Locked\\New"));
        EXPECT_EQ(kDenied, s.support_registry_delete_param(L"\\config\\TestbedStore\\Locked\\n"));
        EXPECT_EQ(kDenied, s.support_registry_delete_section(L"\\config\\TestbedStore\\Locked", 0));
        DWORD value = 0;
        EXPECT_EQ(ERROR_SUCCESS,
                  s.support_registry_get_long(L"\\config\\TestbedStore\\Locked\\n", &value));
        EXPECT_EQ(1u, value);

        EXPECT_EQ(kWrite, Rights(L"\\config\\TestbedStore\\Locked\\Open", kWrite | kRemove));
        EXPECT_EQ(ERROR_SUCCESS,
                  s.support_registry_put_long(L"\\config\\TestbedStore\\Locked\\Open\\n", 2));
        EXPECT_EQ(kDenied,
                  s.support_registry_delete_param(L"\\config\\TestbedStore\\Locked\\Open\\n"));
    }
    {
        // Removal alone: what the saved-passwords dialog asks for.
        testbed::ScopedKnob remove_only(kAccess, L"\\config\\TestbedStore\\Locked", kRemove);
        EXPECT_EQ(kRemove, Rights(L"\\config\\TestbedStore\\Locked", kRemove));
        DWORD value = 0;
        EXPECT_EQ(kDenied,
                  s.support_registry_get_long(L"\\config\\TestbedStore\\Locked\\n", &value));
    }
    EXPECT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\config\\TestbedStore\\Locked\\n", 3));
}

}  // namespace
