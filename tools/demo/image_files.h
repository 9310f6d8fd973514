// Writes a captured ISO/IEC 19794-4 finger image record to disk as it came,
// and its pixels as a PGM image that any image viewer opens.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The record's bytes, unchanged. False if the file cannot be written.
bool WriteRecordFile(const std::string& path, const std::vector<uint8_t>& record);

// The pixels behind the record's headers as a binary 8-bit PGM. False if
// the record is too short for the width and height it states, or the file
// cannot be written.
bool WritePgmFile(const std::string& path, const std::vector<uint8_t>& record);
