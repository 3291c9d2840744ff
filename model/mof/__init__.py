"""Reads the subset of MOF (DSP0004) that the model is written in and writes C++ from it."""
