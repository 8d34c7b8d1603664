#include "store.h"

#include <bcrypt.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace kvcsp {
namespace {

constexpr char kReader[] = "\\\\.\\DISK\\";
constexpr char kHeader[] = "kvcsp-container 1";

std::string Hex(const BYTE* data, size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        text += digits[data[i] >> 4];
        text += digits[data[i] & 15];
    }
    return text;
}
std::string Hex(const std::vector<BYTE>& data) {
    return Hex(data.data(), data.size());
}
std::string Hex(const std::string& data) {
    return Hex(reinterpret_cast<const BYTE*>(data.data()), data.size());
}

bool Unhex(const std::string& text, std::vector<BYTE>& data) {
    if (text.size() % 2) return false;
    data.clear();
    for (size_t i = 0; i < text.size(); i += 2) {
        char pair[3] = {text[i], text[i + 1], 0};
        char* end = nullptr;
        data.push_back(static_cast<BYTE>(std::strtoul(pair, &end, 16)));
        if (*end) return false;
    }
    return true;
}

std::wstring Widen(const std::string& text) {
    std::wstring wide;
    for (char c : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return wide;
}

// A provider name as a directory name.
std::wstring DirectoryName(const std::string& provider) {
    std::wstring name = Widen(provider);
    for (wchar_t& c : name)
        if (c < 32 || wcschr(L"<>:\"/\\|?*", c)) c = L'_';
    return name;
}

bool ValidName(const std::string& name) {
    return !name.empty() && name.size() <= 260 && name.find('\\') == std::string::npos;
}

std::string Serialize(const Container& c) {
    std::ostringstream out;
    out << kHeader << "\nname=" << Hex(c.name) << "\nid=" << c.id << "\nhashSet=" << c.hashSet
        << "\ncipherSet=" << c.cipherSet << "\npasswordChanges=" << c.passwordChanges << "\n";
    for (DWORD spec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        const auto& key = c.keys[spec - 1];
        if (!key) continue;
        std::string p = "key." + std::to_string(spec) + ".";
        out << p << "alg=" << key->alg << "\n"
            << p << "exportable=" << (key->exportable ? 1 : 0) << "\n"
            << p << "ecc=" << Hex(key->ecc) << "\n"
            << p << "hashSet=" << key->hashSet << "\n"
            << p << "dhSet=" << key->dhSet << "\n"
            << p << "certificate=" << Hex(key->certificate) << "\n";
    }
    for (const ExtensionRecord& e : c.extensions)
        out << "extension=" << e.critical << "," << e.oid << "," << Hex(e.value) << "\n";
    return out.str();
}

bool Parse(const std::string& text, Container& c) {
    std::istringstream in(text);
    std::string line;
    if (!std::getline(in, line) || line != kHeader) return false;
    c = Container{};
    while (std::getline(in, line)) {
        size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        std::string field = line.substr(0, eq);
        std::string value = line.substr(eq + 1);
        std::vector<BYTE> bytes;
        if (field == "name") {
            if (!Unhex(value, bytes)) return false;
            c.name.assign(bytes.begin(), bytes.end());
        } else if (field == "id") {
            c.id = value;
        } else if (field == "hashSet") {
            c.hashSet = value;
        } else if (field == "cipherSet") {
            c.cipherSet = value;
        } else if (field == "passwordChanges") {
            c.passwordChanges = std::strtoul(value.c_str(), nullptr, 10);
        } else if (field.rfind("key.", 0) == 0 && field.size() > 6) {
            DWORD spec = field[4] == '2' ? AT_SIGNATURE : AT_KEYEXCHANGE;
            std::string what = field.substr(6);
            auto& key = c.Key(spec);
            if (!key) key.emplace();
            if (what == "alg") {
                key->alg = std::strtoul(value.c_str(), nullptr, 10);
            } else if (what == "exportable") {
                key->exportable = value == "1";
            } else if (what == "ecc") {
                if (!Unhex(value, key->ecc)) return false;
            } else if (what == "hashSet") {
                key->hashSet = value;
            } else if (what == "dhSet") {
                key->dhSet = value;
            } else if (what == "certificate") {
                if (!Unhex(value, key->certificate)) return false;
            }
        } else if (field == "extension") {
            size_t first = value.find(',');
            size_t second = value.find(',', first + 1);
            if (first == std::string::npos || second == std::string::npos) return false;
            ExtensionRecord e;
            e.critical = std::strtoul(value.substr(0, first).c_str(), nullptr, 10);
            e.oid = value.substr(first + 1, second - first - 1);
            if (!Unhex(value.substr(second + 1), e.value)) return false;
            c.extensions.push_back(e);
        }
    }
    return !c.name.empty();
}

DWORD WriteFileText(const std::wstring& path, const std::string& text, DWORD disposition) {
    HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, disposition,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return ::GetLastError();
    DWORD written = 0;
    BOOL ok = ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    DWORD error = ok ? 0 : ::GetLastError();
    ::CloseHandle(file);
    return error;
}

DWORD ReadFileText(const std::wstring& path, std::string& text) {
    HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return ::GetLastError();
    LARGE_INTEGER size{};
    ::GetFileSizeEx(file, &size);
    text.resize(static_cast<size_t>(size.QuadPart));
    DWORD read = 0;
    BOOL ok =
        text.empty() || ::ReadFile(file, &text[0], static_cast<DWORD>(text.size()), &read, nullptr);
    DWORD error = ok ? 0 : ::GetLastError();
    ::CloseHandle(file);
    return error;
}

std::string NewId() {
    BYTE random[8] = {};
    ::BCryptGenRandom(nullptr, random, sizeof(random), BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    return Hex(random, sizeof(random));
}

}  // namespace

std::string Container::UniqueName() const {
    return Fqcn() + "\\" + id;
}
std::string Container::Fqcn() const {
    return kReader + name;
}

Store::Store(const std::string& provider, bool machine) {
    wchar_t root[MAX_PATH] = {};
    ::SHGetFolderPathW(nullptr, machine ? CSIDL_COMMON_APPDATA : CSIDL_LOCAL_APPDATA, nullptr,
                       SHGFP_TYPE_CURRENT, root);
    dir_ = std::wstring(root) + L"\\Kelvane\\Testbed\\Containers\\" + DirectoryName(provider);
}

std::wstring Store::Path(const std::string& name) const {
    return dir_ + L"\\" + Widen(Hex(name)) + L".kvc";
}

DWORD Store::Names(std::vector<std::string>& names) const {
    names.clear();
    WIN32_FIND_DATAW found;
    HANDLE search = ::FindFirstFileW((dir_ + L"\\*.kvc").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return 0;
    do {
        std::wstring file = found.cFileName;
        std::string hex(file.begin(), file.end() - 4);
        std::vector<BYTE> bytes;
        if (Unhex(hex, bytes) && !bytes.empty()) names.emplace_back(bytes.begin(), bytes.end());
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
    std::sort(names.begin(), names.end());
    return 0;
}

DWORD Store::Load(const std::string& name, Container& container) const {
    if (!ValidName(name)) return static_cast<DWORD>(NTE_BAD_KEYSET);
    std::string text;
    if (ReadFileText(Path(name), text)) return static_cast<DWORD>(NTE_BAD_KEYSET);
    if (!Parse(text, container)) return static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD);
    return 0;
}

DWORD Store::Create(Container& container) const {
    if (!ValidName(container.name)) return static_cast<DWORD>(NTE_BAD_KEYSET_PARAM);
    ::SHCreateDirectoryExW(nullptr, dir_.c_str(), nullptr);
    container.id = NewId();
    DWORD error = WriteFileText(Path(container.name), Serialize(container), CREATE_NEW);
    if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS)
        return static_cast<DWORD>(NTE_EXISTS);
    return error;
}

DWORD Store::Save(const Container& container) const {
    std::wstring path = Path(container.name);
    std::wstring temporary = path + L".new";
    if (::GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES)
        return static_cast<DWORD>(NTE_BAD_KEYSET);
    if (DWORD error = WriteFileText(temporary, Serialize(container), CREATE_ALWAYS)) return error;
    if (!::MoveFileExW(temporary.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING))
        return ::GetLastError();
    return 0;
}

DWORD Store::Remove(const std::string& name) const {
    if (!ValidName(name) || !::DeleteFileW(Path(name).c_str()))
        return static_cast<DWORD>(NTE_BAD_KEYSET);
    return 0;
}

DWORD Store::Resolve(const std::string& given, std::string& name, std::string& id) {
    id.clear();
    const std::string reader = kReader;
    if (given.size() > reader.size() &&
        ::CompareStringA(LOCALE_INVARIANT, NORM_IGNORECASE, given.c_str(),
                         static_cast<int>(reader.size()), reader.c_str(),
                         static_cast<int>(reader.size())) == CSTR_EQUAL) {
        name = given.substr(reader.size());
        size_t slash = name.find('\\');
        if (slash != std::string::npos) {
            id = name.substr(slash + 1);
            name.resize(slash);
        }
    } else if (given.rfind("\\\\.\\", 0) == 0) {
        return static_cast<DWORD>(NTE_BAD_KEYSET_PARAM);  // another reader
    } else {
        name = given;
    }
    return ValidName(name) ? 0 : static_cast<DWORD>(NTE_BAD_KEYSET_PARAM);
}

}  // namespace kvcsp
