// An empty shared object: the floor of what loading a library costs.
