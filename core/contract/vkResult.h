#pragma once
// Result codes shared by every processing object. 0 is success; the low codes mean the
// same everywhere; a code from 100 up has a meaning only with the object that gave it.

enum vkResult : int {
    vkOk = 0,
    vkErrInvalidBuffer = 1,     // a vkAudioBuffer is not valid
    vkErrFormat = 2,            // format refused, buffer format differs, too many frames, share incompatible
    vkErrNoChannelParams = 3,   // no channel parameters; a share range exceeds the channels
    vkErrNoObjectParams = 4,    // no object parameters
    vkErrStarted = 5,           // refused while started; out of memory in a buffer allocation
    vkErrNotConfigured = 6,     // process before a successful setFormat
    vkErrOutOfMemory = 7,       // out of memory while configuring
    vkErrRange = 8,             // a value out of range
    vkErrTypeWidth = 10,        // a type code with no width
    vkErrChannel = 11,          // channel parameter: channel out of range
    vkErrParameterId = 12,      // parameter id out of range
    vkErrParameterShape = 15,   // parameter count or type does not match the table
    vkErrFileParameterId = 16,  // CAudioFile object parameter id out of range
    vkErrFileName = 19,         // CAudioFile "filename" refused; CMbf negative filter delay
    vkErrLibraryBase = 100,     // base process: 100 + ORed library status
};

// Offsets the application adds when a result travels upward.
constexpr int vkGraphResultOffset = 10000;
constexpr int vkDriverResultOffset = 20000;
