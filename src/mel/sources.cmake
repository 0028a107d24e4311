set(sources)
set(kernels)
