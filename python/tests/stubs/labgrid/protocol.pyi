import abc

class BootstrapProtocol(abc.ABC):
    @abc.abstractmethod
    def load(self, filename: str) -> None: ...

class ResetProtocol(abc.ABC):
    @abc.abstractmethod
    def reset(self) -> None: ...
