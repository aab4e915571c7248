#include "reflection/classrecord.h"

ClassRecord::~ClassRecord()
{
    SysFreeString(name);
    for (MemberRecord &member : memberRecords) {
        SysFreeString(member.name);
        if (!member.funcDescs)
            continue;
        for (int index = 0; index < member.funcCount; ++index) {
            if (FUNCDESC *record = member.funcDescs[index]) {
                delete[] record->lprgelemdescParam;
                delete record;
            }
        }
        delete[] member.funcDescs;
    }
}

FUNCDESC **NewFuncDescs(int count)
{
    auto **records = new FUNCDESC *[size_t(count)];
    for (int index = 0; index < count; ++index)
        records[index] = new FUNCDESC();
    return records;
}

void NewParameters(FUNCDESC &record, int count)
{
    record.cParams = SHORT(count);
    record.lprgelemdescParam = count > 0 ? new ELEMDESC[size_t(count)]() : nullptr;
}
