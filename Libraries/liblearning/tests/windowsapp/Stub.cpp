// Stands in for the runtime of Windows apps, of which the library only wants that it can be loaded.
