// A class as its type description takes it in: the members the class itself
// declares, each with its function records, and the index of its base
// class's exposer. Made by the object exposer, owned by the description.
#pragma once

#include <vector>

#include "platform/automation.h"

struct MemberRecord {
    BSTR name = nullptr;
    int memberIndex = 0;
    FUNCDESC **funcDescs = nullptr; // funcCount records, each with its parameter array
    int funcCount = 0;
};

struct ClassRecord {
    ClassRecord() = default;
    ClassRecord(const ClassRecord &) = delete;
    ClassRecord &operator=(const ClassRecord &) = delete;
    // Frees names, records, parameter arrays and lists; null anywhere is fine.
    ~ClassRecord();

    BSTR name = nullptr;
    std::vector<MemberRecord> memberRecords;
    std::vector<int> baseIndices; // one entry, or none at the root
};

// The function records a member exposer hands out, allocated so that
// ~ClassRecord frees them: count records, each zeroed.
FUNCDESC **NewFuncDescs(int count);
// count parameters, each zeroed, for record.
void NewParameters(FUNCDESC &record, int count);
