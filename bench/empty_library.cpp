// Nothing: load_bench loads a library without any content.
