// The record of a Profile.
#include "zandrel/export/kb/Profile.h"

void Profile::Write(Hio<HSegment>& io) const {
    io << name << size << num_msgs << weight << M;
    io.WriteCount(weights.size());
    for (const Weight& selected : weights) {
        io << selected.text << selected.value;
    }
    io.WriteCount(likelihood.size());
    for (const double value : likelihood) {
        io << value;
    }
}
