"""Registers the hard-disk self-test with object managers, for hddtest-register."""
