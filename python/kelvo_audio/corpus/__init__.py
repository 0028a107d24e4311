"""Features of all recordings under a folder: `python -m kelvo_audio corpus`.

work computes one recording and stores it whole or not at all, schedulers spread that over processes or a cluster, and
manifest remembers what is done.
"""
