# Filled by the install rules.
