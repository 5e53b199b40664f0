# The Quorvane server in a container: built from source on Debian, run unattended with its
# working folder (world, players, backups, chat logs) on the volume /data.
#   docker build -t quorvane .
#   docker run -d --name quorvane -p 1983:1983/udp -p 127.0.0.1:9100:9100 -v quorvane-data:/data \
#       --stop-timeout 600 quorvane
FROM debian:bookworm-slim AS build
RUN apt-get update \
 && apt-get install -y --no-install-recommends cmake ninja-build g++ make pkg-config libcpp-httplib-dev libsystemd-dev \
 && rm -rf /var/lib/apt/lists/*
WORKDIR /src
COPY CMakeLists.txt ./
COPY src ./src
COPY tools ./tools
RUN cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DQV_TESTS=OFF -DQV_BENCH=OFF \
 && cmake --build build --target quorvane krvtool quorvane-bot

FROM debian:bookworm-slim
RUN apt-get update \
 && apt-get install -y --no-install-recommends libcpp-httplib0.11 libsystemd0 curl \
 && rm -rf /var/lib/apt/lists/* \
 && useradd --system --home-dir /data quorvane \
 && mkdir -p /data && chown quorvane:quorvane /data
COPY --from=build /src/build/quorvane /src/build/krvtool /src/build/quorvane-bot /usr/local/bin/
USER quorvane
VOLUME /data
EXPOSE 1983/udp 9100/tcp
STOPSIGNAL SIGTERM
HEALTHCHECK --interval=10s --timeout=3s --start-period=2m --retries=3 \
  CMD curl -fsS http://127.0.0.1:9100/healthz || exit 1
ENTRYPOINT ["quorvane", "--auto", "--dir", "/data", "--status-bind", "0.0.0.0", "--status-port", "9100"]
CMD ["--port", "1983"]
