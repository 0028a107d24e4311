set(sources)
