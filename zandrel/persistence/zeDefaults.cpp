// Writes and reads the record of zeDefaults. The record begins with the settings in kFirst, in this
// order, and ends as the record of zeStat_storage does (setting_lists.h).
#include "zandrel/persistence/zeDefaults.h"

#include <string_view>

#include "zandrel/statistics/setting_lists.h"

namespace {

using zandrel::detail::dump_end_of_settings;
using zandrel::detail::dump_rows;
using zandrel::detail::is_stored_with_models;
using zandrel::detail::kAfterMarker;
using zandrel::detail::kBeforeMarker;
using zandrel::detail::kLast;
using zandrel::detail::kRowsOf;
using zandrel::detail::load_end_of_settings;
using zandrel::detail::load_rows;
using zandrel::detail::name_each_once;

// The names of the first settings of the record, in the order of the file format.
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

static_assert(name_each_once({kFirst, kBeforeMarker, kAfterMarker, kLast}, is_stored_with_models),
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
