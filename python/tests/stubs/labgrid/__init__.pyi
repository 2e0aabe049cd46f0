"""As much of labgrid as talvor.labgrid uses, with types, which labgrid itself has none of."""
