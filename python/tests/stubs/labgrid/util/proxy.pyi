from ..resource.common import Resource

class ProxyManager:
    @classmethod
    def get_host_and_port(cls, res: Resource) -> tuple[str, int]: ...

proxymanager: type[ProxyManager]
