"""The parts of script/bench."""
