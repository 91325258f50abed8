# Link zandrel_numerics PRIVATE: a fused multiply-add rounds once where the source rounds twice, and
# results must be the same on every machine.
add_library(zandrel_numerics INTERFACE)
target_compile_options(zandrel_numerics INTERFACE -ffp-contract=off)
