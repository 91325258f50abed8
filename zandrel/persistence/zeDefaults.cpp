// The record of zeDefaults.
#include "zandrel/persistence/zeDefaults.h"

#include <string_view>

#include "zandrel/statistics/setting_lists.h"

namespace {

using namespace zandrel::detail;

// The order of the record up to the part in which it ends like that of zeStat_storage.
constexpr std::string_view kFirst[] = {"UseLikelihoodInTrain",
                                       "UseLikelihoodInMatch",
                                       "LikelihoodHistogramResolution",
                                       "UseOmitMethod",
                                       "SuppressM",
                                       "SuppressMThreshold",
                                       "NumberOfSlices",
                                       "ClipValue",
                                       "ProfileSize",
                                       "MinPsSize",
                                       "PLifeExpectancy",
                                       "DeletePFactor",
                                       "ActivationInside",
                                       "ActivationOutside",
                                       "ActivationTotal",
                                       "MinRlimit",
                                       "AverageRlimit",
                                       "MaxRlimit",
                                       "KeywordsFrequency",
                                       "UseNewZC"};

static_assert(name_each_once({kFirst, kBeforeMarker, kAfterMarker, kLast}, is_stored),
              "the record of zeDefaults lacks a setting that is stored, or has one twice");

}  // namespace

void zeDefaults::Dump(Hio<HSegment>& io) const {
    dump_rows(io, kRowsOf<kFirst>, *this);
    dump_end_of_settings(io, *this);
}

void zeDefaults::Load(Hio<HSegment>& io) {
    load_rows(io, kRowsOf<kFirst>, *this);
    load_end_of_settings(io, *this);
}
