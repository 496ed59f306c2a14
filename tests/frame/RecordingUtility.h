#ifndef ZT_TESTS_RECORDINGUTILITY_H
#define ZT_TESTS_RECORDINGUTILITY_H

#include <cstdint>
#include <string>
#include <vector>

/// What the recording companion library answers to every diagnostic line.
const int RECORDING_PRINT_RESULT = 77;

// Threads may print beside each other. What is returned is to be read when they have ended.

/// The names of the sections in the order of their registration; the first has the key 100.
const std::vector<std::string>& recordedSections();

/// The names of the sections whose keys were asked for; the first answer was 1000, the next 1001...
const std::vector<std::string>& recordedLookups();

/// The diagnostic lines that were printed, each as its format, " | " and the text.
const std::vector<std::string>& recordedLines();

/// What was asked of files and folders since the last call, such as "getFileSize /a". All paths are
/// folders and files.
std::vector<std::string> takeFileCalls();

/// What the next calls of getFileSize() answer; then 0.
void answerFileSizes(const std::vector<std::uint64_t>& sizes);

/// The keys that those lines were printed with.
const std::vector<unsigned int>& recordedKeys();

#endif
