#include "Encoding.h"

#include <openssl/evp.h>

#include <cstdio>
#include <memory>

namespace qvw {

void putBigEndian(Bytes& out, std::uint64_t value, int width) {
    for (int i = width - 1; i >= 0; --i)
        out.push_back(static_cast<unsigned char>((value >> (8 * i)) & 0xFF));
}

void putField(Bytes& out, std::string_view text, std::size_t width, char pad) {
    for (std::size_t i = 0; i < width; ++i)
        out.push_back(static_cast<unsigned char>(i < text.size() ? text[i] : pad));
}

std::string padRight(std::string_view text, std::size_t width, char pad) {
    std::string s(text.substr(0, width));
    s.resize(width, pad);
    return s;
}

std::string padLeft(std::string_view text, std::size_t width, char pad) {
    if (text.size() >= width)
        return std::string(text.substr(text.size() - width));
    return std::string(width - text.size(), pad) + std::string(text);
}

std::size_t packedSize(std::size_t chars) { return 2 * (chars / 3) + chars % 3; }

bool isPackable(std::string_view text) {
    for (char c : text)
        if (kPackedAlphabet.find(c) == std::string_view::npos)
            return false;
    return true;
}

Bytes packText(std::string_view text, std::size_t chars) {
    const std::string padded = padRight(text, chars);
    auto value = [&](char c) -> unsigned {
        const auto pos = kPackedAlphabet.find(c);
        if (pos == std::string_view::npos)
            throw WriterError("character '" + std::string(1, c) + "' can't be packed in \"" + padded + "\"");
        return static_cast<unsigned>(pos);
    };
    Bytes out;
    out.reserve(packedSize(chars));
    std::size_t i = 0;
    for (; i + 3 <= chars; i += 3)
        putBigEndian(out, value(padded[i]) * 1600u + value(padded[i + 1]) * 40u + value(padded[i + 2]), 2);
    for (; i < chars; ++i)
        out.push_back(static_cast<unsigned char>(value(padded[i])));
    return out;
}

Sha1Digest sha1Of(const void* data, std::size_t size) {
    Sha1Digest d{};
    unsigned int len = 0;
    // Fetched once; EVP_sha1() looks the algorithm up again on every call.
    static EVP_MD* const sha1 = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    if (EVP_Digest(data, size, d.data(), &len, sha1 ? sha1 : EVP_sha1(), nullptr) != 1 || len != d.size())
        throw WriterError("SHA-1 failed");
    return d;
}

Sha1Digest sha1OfFile(const std::string& path, std::uint64_t& size) {
    std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!f)
        throw WriterError("can't read back " + path);
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> ctx(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha1(), nullptr) != 1)
        throw WriterError("SHA-1 failed");
    std::vector<unsigned char> buf(1 << 16);
    size = 0;
    std::size_t n;
    while ((n = std::fread(buf.data(), 1, buf.size(), f.get())) > 0) {
        EVP_DigestUpdate(ctx.get(), buf.data(), n);
        size += n;
    }
    if (std::ferror(f.get()))
        throw WriterError("read error on " + path);
    Sha1Digest d{};
    unsigned int len = 0;
    EVP_DigestFinal_ex(ctx.get(), d.data(), &len);
    return d;
}

std::string toHex(const Sha1Digest& digest) {
    static const char* hex = "0123456789ABCDEF";
    std::string s;
    for (unsigned char b : digest) {
        s += hex[b >> 4];
        s += hex[b & 15];
    }
    return s;
}

std::uint64_t nextPowerOfTwo(std::uint64_t n) {
    std::uint64_t p = 1;
    while (p < n)
        p <<= 1;
    return p;
}

bool allDigits(std::string_view text) {
    if (text.empty())
        return false;
    for (char c : text)
        if (c < '0' || c > '9')
            return false;
    return true;
}

} // namespace qvw
