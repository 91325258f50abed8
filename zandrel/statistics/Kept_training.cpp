// Copies of parts of a record. Without a converter of texts the bytes are copied as they are. With
// one each text is read and written again, since its converted form may have another length.
#include "zandrel/statistics/Kept_training.h"

#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/record_io.h"

namespace zandrel::detail {

namespace {

constexpr unsigned int kBinSize = zeStat_storage::kBinSize;

// Copies a list of texts, each followed by numbers of `number_size` bytes.
void CopyConcepts(Record_reader& from, Hio<HSegment>& to, unsigned int number_size) {
    unsigned int left = from.Count(kTextOverhead + number_size);
    for (to.WriteCount(left); left > 0; --left) {
        to << qtString(from.Text());
        to.WriteBytes(from.Bytes(number_size), number_size);
    }
}

void CopyBins(Record_reader& from, Hio<HSegment>& to) {
    unsigned int left = from.Count(kBinSize);
    for (to.WriteCount(left); left > 0; --left) {
        to.WriteBytes(from.Bytes(kBinSize), kBinSize);
    }
}

}  // namespace

template <class Pass>
Kept_training::Part Kept_training::Passed(Hio<HSegment>& io, Pass&& pass) {
    Record_reader reader(io);
    Part part;
    part.begin = reader.Position();
    pass(reader);
    part.end = reader.Position();
    return part;
}

Kept_training::Part Kept_training::PassConceptInfos(Hio<HSegment>& io) {
    return Passed(io,
                  [this](Record_reader& reader) { PassConcepts(reader, kConceptInfoNumbersSize); });
}

Kept_training::Part Kept_training::PassTraining(Hio<HSegment>& io) {
    return Passed(io, [this](Record_reader& reader) {
        for (unsigned int left = reader.Count(kBinSize); left > 0; --left) {
            reader.Bytes(kBinSize);
        }
        PassConcepts(reader, kPNumbersSize);
    });
}

void Kept_training::PassConcepts(Record_reader& reader, unsigned int number_size) {
    unsigned int left = reader.Count(kTextOverhead + number_size);
    has_concepts = has_concepts || left > 0;
    for (; left > 0; --left) {
        reader.Text();
        reader.Bytes(number_size);
    }
}

void Kept_training::DumpConceptInfos(Hio<HSegment>& io) {
    if (io.converter == nullptr) {
        DumpBytes(io, concept_infos);
        return;
    }
    Hio<HSegment> from(new HSegment(record, 'r'));
    from.device->Seek(static_cast<int>(concept_infos.begin));
    Record_reader reader(from);
    CopyConcepts(reader, io, kConceptInfoNumbersSize);
}

void Kept_training::DumpTraining(Hio<HSegment>& io, std::size_t iprofile) {
    if (io.converter == nullptr) {
        DumpBytes(io, profiles[iprofile]);
        return;
    }
    Hio<HSegment> from(new HSegment(record, 'r'));
    from.device->Seek(static_cast<int>(profiles[iprofile].begin));
    Record_reader reader(from);
    CopyBins(reader, io);
    CopyConcepts(reader, io, kPNumbersSize);
}

void Kept_training::DumpBytes(Hio<HSegment>& io, const Part& part) const {
    for_each_run(record, part.begin, part.end,
                 [&io](const char* run, unsigned int length) { io.WriteBytes(run, length); });
}

}  // namespace zandrel::detail
