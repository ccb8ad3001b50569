# Filled by the folders that install something.
