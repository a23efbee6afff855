#pragma once

#include <gtest/gtest.h>

#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <xcb/xcb.h>

#include <chrono>
#include <map>
#include <thread>

#include "render/device/WindowLease.h"
#include "tests/render/render_support.h"

/// Windows of the display that the suite runs on, with handles of ours, lent to the renderer.
class CXWindows : public CRecordingBackend
{
  public:
    CXWindows() : m_pDisplay(XOpenDisplay(nullptr)) {}
    ~CXWindows() override
    {
        if (m_pDisplay != nullptr) XCloseDisplay(m_pDisplay);
    }

    HWND Create(int x, int width, int height)
    {
        const HWND handle{static_cast<std::int32_t>(m_Windows.size()) + 1};
        m_Windows[handle] = CreateWindow(x, width, height);
        m_Leases.try_emplace(handle, handle).first->second.Lend(m_Windows[handle]);
        return handle;
    }

    // Another window behind the same handle, as a toolkit makes one on the way to full screen.
    void Replace(HWND handle, int x, int width, int height)
    {
        const Window former = m_Windows[handle];
        m_Leases.at(handle).TakeBack();
        m_Windows[handle] = CreateWindow(x, width, height);
        m_Leases.at(handle).Lend(m_Windows[handle]);
        XDestroyWindow(m_pDisplay, former);
        XSync(m_pDisplay, 0);
    }

    // A window that is lent before the server knows it; MakeAnnounced makes it.
    HWND Announce()
    {
        const HWND handle{static_cast<std::int32_t>(m_Windows.size()) + 1};
        m_Windows[handle] = xcb_generate_id(XGetXCBConnection(m_pDisplay));
        m_Leases.try_emplace(handle, handle).first->second.Lend(m_Windows[handle]);
        return handle;
    }
    void MakeAnnounced(HWND handle, int width, int height)
    {
        xcb_connection_t* const connection = XGetXCBConnection(m_pDisplay);
        const auto window = static_cast<xcb_window_t>(m_Windows[handle]);
        const std::uint32_t unmanaged = 1;
        xcb_create_window(
            connection, XCB_COPY_FROM_PARENT, window, static_cast<xcb_window_t>(DefaultRootWindow(m_pDisplay)),
            0, 0, static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &unmanaged);
        xcb_map_window(connection, window);
        XSync(m_pDisplay, 0);
    }

    // As another program does that knows of no lease.
    void Destroy(HWND handle)
    {
        XDestroyWindow(m_pDisplay, m_Windows[handle]);
        XSync(m_pDisplay, 0);
    }

    // With its lease, as a cell of a control that ends.
    void Remove(HWND handle)
    {
        m_Leases.erase(handle);
        Destroy(handle);
    }

    void Resize(HWND handle, int width, int height)
    {
        XResizeWindow(m_pDisplay, m_Windows[handle], static_cast<unsigned>(width),
                      static_cast<unsigned>(height));
        XSync(m_pDisplay, 0);
    }

    // The pixel on the screen, 0xRRGGBB, as soon as it is `expected`: drawing arrives over a connection of its
    // own. After two seconds whatever it is.
    std::uint32_t WaitForPixel(HWND handle, int x, int y, std::uint32_t expected)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        std::uint32_t pixel = Pixel(handle, x, y);
        while (pixel != expected && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            pixel = Pixel(handle, x, y);
        }
        return pixel;
    }

    std::uint32_t Pixel(HWND handle, int x, int y)
    {
        XImage* const image = XGetImage(m_pDisplay, m_Windows[handle], x, y, 1, 1, AllPlanes, ZPixmap);
        if (image == nullptr) return 0xFFFFFFFF;
        const auto pixel = static_cast<std::uint32_t>(XGetPixel(image, 0, 0)) & 0xFFFFFF;
        XDestroyImage(image);
        return pixel;
    }

    CWindowLease& Lease(HWND handle) { return m_Leases.at(handle); }

    Display* const m_pDisplay;

  private:
    Window CreateWindow(int x, int width, int height) const
    {
        XSetWindowAttributes attributes{};
        attributes.override_redirect = 1;
        attributes.background_pixmap = 0;  // no background: the server paints nothing over the picture
        const Window window =
            XCreateWindow(m_pDisplay, DefaultRootWindow(m_pDisplay), x, 0, static_cast<unsigned>(width),
                          static_cast<unsigned>(height), 0, 0, InputOutput, nullptr,
                          CWOverrideRedirect | CWBackPixmap, &attributes);
        XSelectInput(m_pDisplay, window, ExposureMask);
        XMapRaised(m_pDisplay, window);
        XEvent event;
        XWindowEvent(m_pDisplay, window, ExposureMask, &event);
        return window;
    }

    std::map<HWND, Window> m_Windows;
    std::map<HWND, CWindowLease> m_Leases;
};

#define EXPECT_PIXEL(window, x, y, expected) EXPECT_EQ(m_Windows.WaitForPixel(window, x, y, expected), expected)
