// The CSP interface that advapi32 calls: every entry point finds its objects by handle and hands
// the work to the store, key or parameter module, through the one guard (failure knobs, last
// error, no exception escaping) and under the provider's lock.
#include "guard.h"
#include "keys.h"
#include "kvcsp.h"
#include "objects.h"
#include "params.h"

#include <windows.h>
#include <wincrypt.h>

#include <memory>
#include <string>

namespace kvcsp {
namespace {

// What advapi32 passes to CPAcquireContext (the SDK declares it only for old targets).
struct VTableProvStruc {
    DWORD Version;
    FARPROC FuncVerifyImage;
    FARPROC FuncReturnhWnd;
    DWORD dwProvType;
    BYTE* pbContextInfo;
    DWORD cbContextInfo;
    LPSTR pszProvName;
};

constexpr DWORD kAcceptedAcquireFlags =
    CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET |
    CRYPT_SILENT | CRYPT_DEFAULT_CONTAINER_OPTIONAL | kAcquireNoCarrier | kAcquireCopyTarget;

template <class Body>
BOOL Entry(const char* name, DWORD param, Body&& body,
           OnFailure onFailure = OnFailure::kSkip) noexcept {
    return Guarded(
        name, param,
        [&]() -> DWORD {
            std::lock_guard<std::recursive_mutex> lock(ProviderLock());
            return body();
        },
        onFailure);
}

DWORD FindContext(HCRYPTPROV handle, std::shared_ptr<Context>& context) {
    context = Contexts().Find(handle);
    return context ? 0 : static_cast<DWORD>(NTE_BAD_UID);
}

DWORD FindKey(HCRYPTKEY handle, std::shared_ptr<Key>& key) {
    key = Keys().Find(handle);
    return key ? 0 : static_cast<DWORD>(NTE_BAD_KEY);
}

DWORD FindHash(HCRYPTHASH handle, std::shared_ptr<Hash>& hash) {
    hash = Hashes().Find(handle);
    return hash ? 0 : static_cast<DWORD>(NTE_BAD_HASH);
}

DWORD Acquire(HCRYPTPROV* handle, LPCSTR given, DWORD flags, const VTableProvStruc* table) {
    if (!handle || !table) return ERROR_INVALID_PARAMETER;
    DWORD verify_bits = flags & CRYPT_VERIFYCONTEXT;
    if ((flags & ~kAcceptedAcquireFlags) || (verify_bits && verify_bits != CRYPT_VERIFYCONTEXT))
        return static_cast<DWORD>(NTE_BAD_FLAGS);
    auto context = std::make_shared<Context>();
    context->provider = table->pszProvName ? table->pszProvName : "";
    context->type = table->dwProvType;
    context->machine = flags & CRYPT_MACHINE_KEYSET;
    context->verify = verify_bits != 0;
    std::string name = given ? given : "";
    if (context->verify) {
        if ((flags & (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET)) || !name.empty())
            return static_cast<DWORD>(NTE_BAD_FLAGS);
        *handle = Contexts().Add(context);
        return 0;
    }
    if ((flags & CRYPT_NEWKEYSET) && (flags & CRYPT_DELETEKEYSET))
        return static_cast<DWORD>(NTE_BAD_FLAGS);
    std::string id;
    if (name.empty()) return static_cast<DWORD>(NTE_BAD_KEYSET_PARAM);
    if (DWORD error = Store::Resolve(name, context->container, id)) return error;
    Store store = context->GetStore();
    Container container;
    if (flags & CRYPT_NEWKEYSET) {
        if (!id.empty()) return static_cast<DWORD>(NTE_BAD_KEYSET_PARAM);
        container.name = context->container;
        container.hashSet = params::Default(context->type, params::SetKind::kHash);
        container.cipherSet = params::Default(context->type, params::SetKind::kCipher);
        if (DWORD error = store.Create(container)) return error;
    } else {
        if (DWORD error = store.Load(context->container, container)) return error;
        if (!id.empty() && id != container.id) return static_cast<DWORD>(NTE_BAD_KEYSET);
        if (flags & CRYPT_DELETEKEYSET) {
            *handle = 0;
            return store.Remove(context->container);
        }
    }
    *handle = Contexts().Add(context);
    return 0;
}

template <class T>
DWORD Hand(Table<T>& table, std::shared_ptr<T> item, ULONG_PTR* handle) {
    *handle = table.Add(std::move(item));
    return 0;
}

}  // namespace
}  // namespace kvcsp

using namespace kvcsp;

extern "C" {

BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags, void* pVTable) {
    return Entry("CPAcquireContext", kNoParam, [&] {
        return Acquire(phProv, szContainer, dwFlags, static_cast<VTableProvStruc*>(pVTable));
    });
}

BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
    return Entry(
        "CPReleaseContext", kNoParam,
        [&]() -> DWORD {
            if (!Contexts().Remove(hProv)) return static_cast<DWORD>(NTE_BAD_UID);
            return dwFlags ? static_cast<DWORD>(NTE_BAD_FLAGS) : 0;
        },
        OnFailure::kRelease);
}

BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
    return Entry("CPGenKey", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Context> context;
        std::shared_ptr<Key> key;
        if (!phKey) return ERROR_INVALID_PARAMETER;
        if (DWORD error = FindContext(hProv, context)) return error;
        if (DWORD error = keys::Generate(*context, Algid, dwFlags, key)) return error;
        return Hand(Keys(), key, phKey);
    });
}

BOOL WINAPI CPDeriveKey(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTHASH hHash, DWORD dwFlags,
                        HCRYPTKEY* phKey) {
    return Entry("CPDeriveKey", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Context> context;
        std::shared_ptr<Hash> hash;
        std::shared_ptr<Key> key;
        if (!phKey) return ERROR_INVALID_PARAMETER;
        if (DWORD error = FindContext(hProv, context)) return error;
        if (DWORD error = FindHash(hHash, hash)) return error;
        if (DWORD error = keys::DeriveKey(*hash, Algid, dwFlags, key)) return error;
        return Hand(Keys(), key, phKey);
    });
}

BOOL WINAPI CPDestroyKey(HCRYPTPROV, HCRYPTKEY hKey) {
    return Entry(
        "CPDestroyKey", kNoParam,
        [&]() -> DWORD { return Keys().Remove(hKey) ? 0 : static_cast<DWORD>(NTE_BAD_KEY); },
        OnFailure::kRelease);
}

BOOL WINAPI CPSetKeyParam(HCRYPTPROV, HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData,
                          DWORD dwFlags) {
    return Entry("CPSetKeyParam", dwParam, [&]() -> DWORD {
        std::shared_ptr<Key> key;
        if (DWORD error = FindKey(hKey, key)) return error;
        return keys::SetParam(*key, dwParam, pbData, dwFlags);
    });
}

BOOL WINAPI CPGetKeyParam(HCRYPTPROV, HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData,
                          DWORD* pcbDataLen, DWORD dwFlags) {
    return Entry("CPGetKeyParam", dwParam, [&]() -> DWORD {
        std::shared_ptr<Key> key;
        if (!pcbDataLen) return ERROR_INVALID_PARAMETER;
        if (DWORD error = FindKey(hKey, key)) return error;
        return keys::GetParam(*key, dwParam, pbData, pcbDataLen, dwFlags);
    });
}

BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    return Entry("CPSetProvParam", dwParam, [&]() -> DWORD {
        std::shared_ptr<Context> context;
        if (DWORD error = FindContext(hProv, context)) return error;
        return params::Set(*context, dwParam, pbData, dwFlags);
    });
}

BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                           DWORD dwFlags) {
    return Entry("CPGetProvParam", dwParam, [&]() -> DWORD {
        std::shared_ptr<Context> context;
        if (DWORD error = FindContext(hProv, context)) return error;
        return params::Get(*context, dwParam, pbData, pcbDataLen, dwFlags);
    });
}

BOOL WINAPI CPSetHashParam(HCRYPTPROV, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData,
                           DWORD dwFlags) {
    return Entry("CPSetHashParam", dwParam, [&]() -> DWORD {
        std::shared_ptr<Hash> hash;
        if (dwFlags) return static_cast<DWORD>(NTE_BAD_FLAGS);
        if (DWORD error = FindHash(hHash, hash)) return error;
        return keys::SetHashParam(*hash, dwParam, pbData);
    });
}

BOOL WINAPI CPGetHashParam(HCRYPTPROV, HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData,
                           DWORD* pcbDataLen, DWORD dwFlags) {
    return Entry("CPGetHashParam", dwParam, [&]() -> DWORD {
        std::shared_ptr<Hash> hash;
        if (!pcbDataLen) return ERROR_INVALID_PARAMETER;
        if (dwFlags) return static_cast<DWORD>(NTE_BAD_FLAGS);
        if (DWORD error = FindHash(hHash, hash)) return error;
        return keys::GetHashParam(*hash, dwParam, pbData, pcbDataLen);
    });
}

BOOL WINAPI CPExportKey(HCRYPTPROV, HCRYPTKEY hKey, HCRYPTKEY hPubKey, DWORD dwBlobType,
                        DWORD dwFlags, BYTE* pbData, DWORD* pcbDataLen) {
    return Entry("CPExportKey", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Key> key;
        std::shared_ptr<Key> wrap;
        if (!pcbDataLen) return ERROR_INVALID_PARAMETER;
        if (DWORD error = FindKey(hKey, key)) return error;
        if (hPubKey)
            if (DWORD error = FindKey(hPubKey, wrap)) return error;
        DWORD error = keys::Export(*key, wrap.get(), dwBlobType, dwFlags, pbData, pcbDataLen);
        if (!error && pbData && dwBlobType == PUBLICKEYBLOB)
            NotePublicKeyExport(hKey, pbData, *pcbDataLen);
        return error;
    });
}

BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY hPubKey,
                        DWORD dwFlags, HCRYPTKEY* phKey) {
    return Entry("CPImportKey", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Context> context;
        std::shared_ptr<Key> with;
        std::shared_ptr<Key> key;
        if (!pbData || !phKey) return ERROR_INVALID_PARAMETER;
        if (DWORD error = FindContext(hProv, context)) return error;
        if (hPubKey)
            if (DWORD error = FindKey(hPubKey, with)) return error;
        if (DWORD error = keys::Import(*context, pbData, cbDataLen, with.get(), dwFlags, key))
            return error;
        return Hand(Keys(), key, phKey);
    });
}

BOOL WINAPI CPEncrypt(HCRYPTPROV, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags,
                      BYTE* pbData, DWORD* pcbDataLen, DWORD cbBufLen) {
    return Entry("CPEncrypt", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Key> key;
        std::shared_ptr<Hash> hash;
        if (!pcbDataLen) return ERROR_INVALID_PARAMETER;
        if (dwFlags) return static_cast<DWORD>(NTE_BAD_FLAGS);
        if (DWORD error = FindKey(hKey, key)) return error;
        if (hHash) {
            if (DWORD error = FindHash(hHash, hash)) return error;
            if (pbData)
                if (DWORD error = keys::HashData(*hash, pbData, *pcbDataLen)) return error;
        }
        return keys::Encrypt(*key, fFinal, pbData, pcbDataLen, cbBufLen);
    });
}

BOOL WINAPI CPDecrypt(HCRYPTPROV, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags,
                      BYTE* pbData, DWORD* pcbDataLen) {
    return Entry("CPDecrypt", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Key> key;
        std::shared_ptr<Hash> hash;
        if (!pcbDataLen) return ERROR_INVALID_PARAMETER;
        if (dwFlags) return static_cast<DWORD>(NTE_BAD_FLAGS);
        if (DWORD error = FindKey(hKey, key)) return error;
        if (hHash)
            if (DWORD error = FindHash(hHash, hash)) return error;
        if (DWORD error = keys::Decrypt(*key, fFinal, pbData, pcbDataLen)) return error;
        return hash ? keys::HashData(*hash, pbData, *pcbDataLen) : 0;
    });
}

BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
                         HCRYPTHASH* phHash) {
    return Entry("CPCreateHash", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Context> context;
        std::shared_ptr<Hash> hash;
        if (!phHash) return ERROR_INVALID_PARAMETER;
        if (dwFlags) return static_cast<DWORD>(NTE_BAD_FLAGS);
        if (hKey) return static_cast<DWORD>(NTE_BAD_KEY);
        if (DWORD error = FindContext(hProv, context)) return error;
        if (DWORD error = keys::CreateHash(Algid, hash)) return error;
        return Hand(Hashes(), hash, phHash);
    });
}

BOOL WINAPI CPHashData(HCRYPTPROV, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbDataLen,
                       DWORD dwFlags) {
    return Entry("CPHashData", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Hash> hash;
        if (dwFlags) return static_cast<DWORD>(NTE_BAD_FLAGS);
        if (DWORD error = FindHash(hHash, hash)) return error;
        return keys::HashData(*hash, pbData, cbDataLen);
    });
}

BOOL WINAPI CPHashSessionKey(HCRYPTPROV, HCRYPTHASH hHash, HCRYPTKEY hKey, DWORD dwFlags) {
    return Entry("CPHashSessionKey", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Hash> hash;
        std::shared_ptr<Key> key;
        if (dwFlags) return static_cast<DWORD>(NTE_BAD_FLAGS);
        if (DWORD error = FindHash(hHash, hash)) return error;
        if (DWORD error = FindKey(hKey, key)) return error;
        return keys::HashKey(*hash, *key);
    });
}

BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR, DWORD,
                       BYTE* pbSignature, DWORD* pcbSigLen) {
    return Entry("CPSignHash", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Context> context;
        std::shared_ptr<Hash> hash;
        if (!pcbSigLen) return ERROR_INVALID_PARAMETER;
        if (DWORD error = FindContext(hProv, context)) return error;
        if (DWORD error = FindHash(hHash, hash)) return error;
        return keys::Sign(*context, *hash, dwKeySpec, pbSignature, pcbSigLen);
    });
}

BOOL WINAPI CPDestroyHash(HCRYPTPROV, HCRYPTHASH hHash) {
    return Entry(
        "CPDestroyHash", kNoParam,
        [&]() -> DWORD { return Hashes().Remove(hHash) ? 0 : static_cast<DWORD>(NTE_BAD_HASH); },
        OnFailure::kRelease);
}

BOOL WINAPI CPVerifySignature(HCRYPTPROV, HCRYPTHASH hHash, const BYTE* pbSignature, DWORD cbSigLen,
                              HCRYPTKEY hPubKey, LPCWSTR, DWORD) {
    return Entry("CPVerifySignature", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Hash> hash;
        std::shared_ptr<Key> key;
        if (DWORD error = FindHash(hHash, hash)) return error;
        if (DWORD error = FindKey(hPubKey, key)) return error;
        return keys::Verify(*hash, pbSignature, cbSigLen, *key);
    });
}

BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbLen, BYTE* pbBuffer) {
    return Entry("CPGenRandom", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Context> context;
        if (DWORD error = FindContext(hProv, context)) return error;
        return keys::Random(pbBuffer, cbLen);
    });
}

BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey) {
    return Entry("CPGetUserKey", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Context> context;
        std::shared_ptr<Key> key;
        if (!phUserKey) return ERROR_INVALID_PARAMETER;
        if (DWORD error = FindContext(hProv, context)) return error;
        if (DWORD error = keys::UserKey(*context, dwKeySpec, key)) return error;
        return Hand(Keys(), key, phUserKey);
    });
}

BOOL WINAPI CPDuplicateHash(HCRYPTPROV, HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags,
                            HCRYPTHASH* phHash) {
    return Entry("CPDuplicateHash", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Hash> hash;
        std::shared_ptr<Hash> copy;
        if (pdwReserved || !phHash) return ERROR_INVALID_PARAMETER;
        if (dwFlags) return static_cast<DWORD>(NTE_BAD_FLAGS);
        if (DWORD error = FindHash(hHash, hash)) return error;
        if (DWORD error = keys::DuplicateHash(*hash, copy)) return error;
        return Hand(Hashes(), copy, phHash);
    });
}

BOOL WINAPI CPDuplicateKey(HCRYPTPROV, HCRYPTKEY hKey, DWORD* pdwReserved, DWORD dwFlags,
                           HCRYPTKEY* phKey) {
    return Entry("CPDuplicateKey", kNoParam, [&]() -> DWORD {
        std::shared_ptr<Key> key;
        std::shared_ptr<Key> copy;
        if (pdwReserved || !phKey) return ERROR_INVALID_PARAMETER;
        if (dwFlags) return static_cast<DWORD>(NTE_BAD_FLAGS);
        if (DWORD error = FindKey(hKey, key)) return error;
        if (DWORD error = keys::Duplicate(*key, copy)) return error;
        return Hand(Keys(), copy, phKey);
    });
}

}  // extern "C"
