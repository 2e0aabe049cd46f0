import attr

from ..binding import BindingMixin

@attr.s(eq=False)
class Resource(BindingMixin):
    avail: bool = attr.ib(default=True, init=False)

@attr.s(eq=False)
class NetworkResource(Resource):
    host: str = attr.ib()
