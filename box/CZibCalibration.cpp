#include "box/CZibCalibration.h"

#include "box/CZibMessage.h"

#include <algorithm>

namespace {
constexpr std::size_t kVersionAt = 34;  // characters of byte 17
constexpr std::size_t kSizeAt = 36;     // byte 18
constexpr std::size_t kBlockAt = 38;    // byte 19, the block's first
constexpr int kHeaderBytes = 3;         // the size byte counts 3 bytes more than the block
constexpr int kValueDigits = 4;
constexpr float kValueScale = 1.0f / 4096.0f;
} // namespace

int CZibCalibration::take(int offset, std::string_view payload)
{
    if (offset == 0)
        takeFirst(payload);
    else
        takeNext(payload);
    if (mVersion == 1 && mSize >= 0 && mReceived < mSize) {
        mOffset += kUnit;
        return mOffset;
    }
    mValid = parse();
    return -1;
}

void CZibCalibration::takeFirst(std::string_view payload)
{
    mOffset = 0;
    mSize = 0;
    mReceived = 0;
    mText.clear();
    mVersion = CZibMessage::readHex(payload, kVersionAt, 2);
    if (mVersion != 1)
        return;
    mSize = CZibMessage::readHex(payload, kSizeAt, 2) - kHeaderBytes;
    if (mSize < 0)
        return;
    mText.assign(2 * static_cast<std::size_t>(mSize), '0');
    const std::size_t available = payload.size() > kBlockAt ? (payload.size() - kBlockAt) / 2 * 2 : 0;
    const std::size_t count = std::min(available, mText.size());
    mText.replace(0, count, payload.substr(kBlockAt, count));
    mReceived = static_cast<int>(count / 2);
}

void CZibCalibration::takeNext(std::string_view payload)
{
    const int take = std::max(0, std::min(mSize - mReceived, static_cast<int>(payload.size() / 2)));
    mText.replace(2 * static_cast<std::size_t>(mReceived), 2 * static_cast<std::size_t>(take),
                  payload.substr(0, 2 * static_cast<std::size_t>(take)));
    mReceived += take;
}

bool CZibCalibration::parse()
{
    mDb.clear();
    if (mVersion == 1 && mSize != kBlockSize)
        return false;
    if (CZibMessage::readHex(mText, 0, 2) != 1)
        return false;
    for (std::size_t at = 2; at + kValueDigits <= mText.size(); at += kValueDigits) {
        const int v = CZibMessage::readHex(mText, at, kValueDigits);
        if (v < 0)
            return false;
        mDb.push_back(std::clamp(static_cast<float>(v) * kValueScale, 0.0f, kMaxDb));
    }
    return true;
}
