"""labgrid's coordinator for a test, with as much of a WAMP router below it as it needs.

    python3 labgrid_coordinator.py

A lab has crossbar for a router, which Debian does not. The coordinator is labgrid's own and keeps
its files in the working folder. A line tells the port.
"""

import asyncio
import itertools
import socket

import txaio

txaio.use_asyncio()

from autobahn.asyncio.wamp import ApplicationRunner  # noqa: E402
from autobahn.asyncio.websocket import WampWebSocketServerFactory  # noqa: E402
from autobahn.wamp import message, role  # noqa: E402
from labgrid.remote.coordinator import CoordinatorComponent  # noqa: E402

JOINED = "wamp.session.on_join"
LEFT = "wamp.session.on_leave"


class Router:
    """Who listens to what, who answers what, and which calls are on their way."""

    def __init__(self):
        self.numbers = itertools.count(1)
        self.listeners = {}  # (topic, number of the subscription, peer)
        self.procedures = {}  # name: (number, peer)
        self.calls = {}  # number of the invocation: (peer that called, its number)

    def publish(self, topic, args, kwargs=None, but=None):
        for number, (heard, peer) in list(self.listeners.items()):
            if heard == topic and peer is not but:
                peer.send(message.Event(number, next(self.numbers), args=args, kwargs=kwargs))

    def forget(self, peer):
        self.listeners = {n: entry for n, entry in self.listeners.items() if entry[1] is not peer}
        self.procedures = {n: entry for n, entry in self.procedures.items() if entry[1] is not peer}
        for number, (caller, request) in list(self.calls.items()):
            if caller is peer:
                del self.calls[number]
        self.publish(LEFT, [peer._session_id])


class Peer:
    """A session at the router: the handler of a transport."""

    def __init__(self, router):
        self.router = router
        self._session_id = None
        self._authid = None

    def send(self, reply):
        self._transport.send(reply)

    def onOpen(self, transport):
        pass

    def onClose(self, clean):
        if self._session_id is not None:
            self.router.forget(self)
            self._session_id = None

    def onMessage(self, request):
        getattr(self, type(request).__name__.lower())(request)

    def hello(self, request):
        self._authid = request.authid
        self.send(message.Challenge("ticket"))

    def authenticate(self, request):
        self._session_id = next(self.router.numbers)
        roles = {"broker": role.RoleBrokerFeatures(), "dealer": role.RoleDealerFeatures()}
        self.send(message.Welcome(self._session_id, roles, authid=self._authid))
        self.router.publish(JOINED, [{"session": self._session_id, "authid": self._authid}])

    def goodbye(self, request):
        self.send(message.Goodbye("wamp.close.goodbye_and_out"))
        self.onClose(True)

    def subscribe(self, request):
        number = next(self.router.numbers)
        self.router.listeners[number] = (request.topic, self)
        self.send(message.Subscribed(request.request, number))

    def publish(self, request):
        self.router.publish(request.topic, request.args, request.kwargs, but=self)

    def register(self, request):
        number = next(self.router.numbers)
        self.router.procedures[request.procedure] = (number, self)
        self.send(message.Registered(request.request, number))

    def call(self, request):
        if request.procedure not in self.router.procedures:
            error = "wamp.error.no_such_procedure"
            self.send(message.Error(message.Call.MESSAGE_TYPE, request.request, error))
            return
        registration, callee = self.router.procedures[request.procedure]
        number = next(self.router.numbers)
        self.router.calls[number] = (self, request.request)
        callee.send(
            message.Invocation(
                number,
                registration,
                args=request.args,
                kwargs=request.kwargs,
                caller=self._session_id,
            )
        )

    def _yield(self, request):
        if call := self.router.calls.pop(request.request, None):
            call[0].send(message.Result(call[1], args=request.args, kwargs=request.kwargs))

    def error(self, request):
        if call := self.router.calls.pop(request.request, None):
            kind = message.Call.MESSAGE_TYPE
            call[0].send(message.Error(kind, call[1], request.error, args=request.args))


setattr(Peer, "yield", Peer._yield)


async def serve():
    router = Router()
    listener = socket.create_server(("127.0.0.1", 0))
    url = f"ws://127.0.0.1:{listener.getsockname()[1]}/ws"
    loop = asyncio.get_running_loop()
    await loop.create_server(WampWebSocketServerFactory(lambda: Peer(router), url), sock=listener)
    coordinator = ApplicationRunner(url, realm="realm1", extra={})
    await coordinator.run(CoordinatorComponent, start_loop=False)
    while "org.labgrid.coordinator.get_reservations" not in router.procedures:
        await asyncio.sleep(0.01)
    print("ready", url, flush=True)
    await loop.create_future()


asyncio.run(serve())
